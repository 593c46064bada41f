// The timers of a run loop, by due time. It knows no clock: times are seconds of RunLoop::uptime(), told by the caller.
// Safe from every thread; blocks run where fireOne() is called, with nothing locked.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "Foundation/RunLoop.h"

namespace qs {

class TimerQueue : public std::enable_shared_from_this<TimerQueue> {
public:
    // An interval of 0 makes a timer that fires once.
    TimerRef add(TimeInterval due, TimeInterval interval, Block block);
    std::optional<TimeInterval> earliest() const;
    // Fires the first timer that is due by `time`; of those due at the same time, the one that came first. Calls
    // `beforeBlock` when it is out of the queue. A repeating timer comes back in when its block is done, due next after
    // what `uptime` says then. False if none is due. Passes exceptions of the block on.
    bool fireOne(TimeInterval time, const std::function<void()>& beforeBlock,
                 const std::function<TimeInterval()>& uptime);
    // Drops all timers; those added later are invalid from the start.
    void close();

private:
    class Entry;
    using Key = std::pair<TimeInterval, std::uint64_t>;  // due, and the order of coming

    void insert(const std::shared_ptr<Entry>& entry);  // under the lock
    void putBack(const std::shared_ptr<Entry>& entry, TimeInterval now);

    mutable std::mutex lock_;
    std::map<Key, std::shared_ptr<Entry>> entries_;
    std::uint64_t lastNumber_ = 0;
    bool closed_ = false;
};

}  // namespace qs
