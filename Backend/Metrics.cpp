#include "Metrics.h"

namespace qs {

namespace {

void append(std::string& text, const std::map<std::string, std::int64_t>& all, const char* type) {
    std::string last;
    for (const auto& [series, value] : all) {
        const std::string name = "quillstead_" + series.substr(0, series.find('{'));
        if (name != last) text += "# TYPE " + name + " " + type + "\n";
        last = name;
        text += "quillstead_" + series + " " + std::to_string(value) + "\n";
    }
}

}  // namespace

void Metrics::add(const std::string& series, std::int64_t count) {
    const std::lock_guard guard(lock_);
    counters_[series] += count;
}

void Metrics::set(const std::string& series, std::int64_t value) {
    const std::lock_guard guard(lock_);
    gauges_[series] = value;
}

std::string Metrics::text() const {
    const std::lock_guard guard(lock_);
    std::string text;
    append(text, counters_, "counter");
    append(text, gauges_, "gauge");
    return text;
}

}  // namespace qs
