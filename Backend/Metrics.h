// What the server counts, in the text form that Prometheus reads
// (https://prometheus.io/docs/instrumenting/exposition_formats/). From every thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace qs {

class Metrics {
public:
    // `series` is a name with its labels, such as `requests_total{route="pixel"}`.
    void add(const std::string& series, std::int64_t count = 1);
    // For what goes up and down.
    void set(const std::string& series, std::int64_t value);
    std::string text() const;

private:
    mutable std::mutex lock_;
    std::map<std::string, std::int64_t> counters_, gauges_;
};

}  // namespace qs
