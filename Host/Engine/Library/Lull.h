// A pause in what keeps coming: work that can wait begins when nothing has come for a second. For any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace qs {

class Lull {
public:
    // Something has come.
    void disturb() {
        const std::lock_guard hold(lock_);
        last_ = Clock::now();
    }
    // Returns when there is a pause, or somebody is in a hurry.
    void await() {
        std::unique_lock hold(lock_);
        while (hurries_ == 0 && Clock::now() < last_ + kPause)
            hurried_.wait_until(hold, last_ + kPause);
    }

    // As long as there is one, nobody waits.
    class Hurry {
    public:
        explicit Hurry(Lull& lull) : lull_(lull) {
            const std::lock_guard hold(lull_.lock_);
            ++lull_.hurries_;
            lull_.hurried_.notify_all();
        }
        ~Hurry() {
            const std::lock_guard hold(lull_.lock_);
            --lull_.hurries_;
        }
        Hurry(const Hurry&) = delete;
        Hurry& operator=(const Hurry&) = delete;

    private:
        Lull& lull_;
    };

private:
    // Of the real clock: it is the disk and the processors that are to be left to others.
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kPause{1};

    std::mutex lock_;
    std::condition_variable hurried_;
    Clock::time_point last_ = Clock::now() - kPause;
    int hurries_ = 0;
};

}  // namespace qs
