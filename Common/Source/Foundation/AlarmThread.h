// Timers on a thread of their own, so that a wait ends at its time whatever the main thread is doing. The thread is
// started with the first wait. Safe from every thread.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "Foundation/RunLoop.h"

namespace qs {

class TimerQueue;

class AlarmThread {
public:
    // `uptime` is the clock by which is waited: seconds that never go back.
    explicit AlarmThread(std::function<TimeInterval()> uptime);
    ~AlarmThread();

    // The block runs on the alarm's thread and must hand on what takes time.
    TimerRef after(TimeInterval seconds, Block block);
    // No block runs any more when this returns; waits that are added later are invalid.
    void stop();

private:
    void watch();

    const std::function<TimeInterval()> uptime_;
    const std::shared_ptr<TimerQueue> timers_;
    std::mutex lock_;
    std::condition_variable changed_;
    bool isNews_ = false, isStopped_ = false;
    std::thread thread_;
};

}  // namespace qs
