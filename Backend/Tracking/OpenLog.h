// Opens on their way into the database. The pixel is answered at once, alike for every id; what was fetched is
// collected and written together a moment later, so that many fetches cost one transaction.
//
// A crash loses the opens of that moment, a stop does not. While the database is away they wait here, up to a bound.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Configuration.h"
#include "Foundation/RunLoop.h"

namespace qs {

class Metrics;
class PlaceFinder;
class SqlPool;

struct PixelFetch {
    std::string uuid;  // in upper case
    Date date;
    std::string address, userAgent;
};

class OpenLog {
public:
    struct Ground {
        SqlPool& database;
        Metrics& metrics;
        const PlaceFinder* places;  // may be null
        AddressDetail addressDetail = AddressDetail::Shortened;
        std::function<void(Block)> runElsewhere;  // on a thread that may wait
    };
    explicit OpenLog(Ground ground);
    ~OpenLog();

    void add(PixelFetch fetch);  // main thread
    // Writes what is collected. Blocking; from every thread. False: the database is away, and the opens stay here.
    bool write();

private:
    void writeSoon(TimeInterval seconds);
    bool writeBatch(const std::vector<PixelFetch>& batch);

    const Ground ground_;
    std::mutex lock_;         // of the collected ones
    std::mutex writingLock_;  // one batch at a time, in order
    std::vector<PixelFetch> collected_;
    TimerRef timer_;  // main thread
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
