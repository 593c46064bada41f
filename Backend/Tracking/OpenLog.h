// Opens on their way into the database. A fetch is answered once its open is written, so that a crash loses none that
// was answered. What comes while a transaction is under way goes into the next one together: many fetches cost little
// more than one.
//
// While the database is away fetches are answered all the same, and their opens wait here, up to a bound.
#pragma once

#include <cstdint>
#include <deque>
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

    // Calls `answer` when the fetch is written or it can't be waited for any longer. Main thread, both.
    void add(PixelFetch fetch, Block answer);
    // Writes what is collected. Blocking; from every thread. False: the database is away, and the opens stay here.
    bool write();

private:
    struct Answer {
        std::int64_t number;  // of its fetch
        Block give;
    };
    void beginWriting();
    void writingEnded(bool isWritten);
    void answerUpTo(std::int64_t number);
    bool writeBatch(const std::vector<PixelFetch>& batch);

    const Ground ground_;
    std::mutex lock_;         // of the collected ones
    std::mutex writingLock_;  // one batch at a time, in order
    std::vector<PixelFetch> collected_;
    std::int64_t lastNumber_ = 0;  // of the fetches that were collected
    // Main thread:
    std::deque<Answer> waiting_;
    bool isWriting_ = false, isAway_ = false;
    TimerRef retry_, patience_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
