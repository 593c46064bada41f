#include "Foundation/AlarmThread.h"

#include <algorithm>
#include <chrono>

#include "Foundation/Assertion.h"
#include "Foundation/TimerQueue.h"

namespace qs {

namespace {

constexpr TimeInterval kLongestWait = 86'400;  // more than a condition variable may be able to count is of no use

}  // namespace

AlarmThread::AlarmThread(std::function<TimeInterval()> uptime)
    : uptime_(std::move(uptime)), timers_(std::make_shared<TimerQueue>()) {}

AlarmThread::~AlarmThread() { stop(); }

TimerRef AlarmThread::after(TimeInterval seconds, Block block) {
    TimerRef timer = timers_->add(uptime_() + std::max(seconds, 0.0), 0, std::move(block));
    const std::lock_guard guard(lock_);
    if (isStopped_) return timer;
    if (!thread_.joinable()) thread_ = std::thread([this] { watch(); });
    isNews_ = true;
    changed_.notify_one();
    return timer;
}

void AlarmThread::stop() {
    timers_->close();
    {
        const std::lock_guard guard(lock_);
        isStopped_ = true;
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
}

void AlarmThread::watch() {
    std::unique_lock guard(lock_);
    while (!isStopped_) {
        isNews_ = false;
        const auto earliest = timers_->earliest();
        const TimeInterval wait = earliest ? std::clamp(*earliest - uptime_(), 0.0, kLongestWait) : kLongestWait;
        if (wait > 0) {
            changed_.wait_for(guard, std::chrono::duration<double>(wait), [this] { return isNews_ || isStopped_; });
            continue;
        }
        guard.unlock();
        try {
            timers_->fireOne(
                uptime_(), [] {}, uptime_);
        } catch (...) {
            logCaughtException("A timer's block failed");
        }
        guard.lock();
    }
}

}  // namespace qs
