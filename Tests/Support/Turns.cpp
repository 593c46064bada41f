#include "Support/Turns.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

namespace qs {

namespace {

constexpr int kLooks = 3;

// Waiting for a lock or for work, or ended. Whoever waits for the disk or a server will go on by itself.
bool isAtRest(int thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    std::string call;
    return !(file >> call) || call == std::to_string(SYS_futex);
}

}  // namespace

FileSystem* Turns::turn() {
    if (!isOn_ || gettid() == conductor_) return &files_;
    std::unique_lock hold(lock_);
    State& me = actors_[gettid() == firstThread_ ? First : Second];
    me.thread = gettid();
    me.waits = true;
    changed_.wait(hold, [&] { return me.mayGo || !isOn_; });
    me.waits = me.mayGo = false;
    ++me.passed;
    return &files_;
}

// Each stands before an operation, is over, or waits for something else.
bool Turns::neitherGoesOn() {
    for (int look = 0; look < kLooks; ++look) {
        {
            const std::lock_guard hold(lock_);
            for (const State& actor : actors_)
                if (!actor.waits && !actor.isOver && (actor.mayGo || actor.thread == 0 || !isAtRest(actor.thread)))
                    return false;
        }
        std::this_thread::yield();
    }
    return true;
}

std::array<int, 2> Turns::run(const std::function<void()>& first, const std::function<void()>& second,
                              const Choose& choose) {
    actors_ = {};
    conductor_ = gettid();
    firstThread_ = 0;
    std::atomic<bool> isReady = false;
    std::thread thread([&] {
        firstThread_ = gettid();
        isReady = true;
        isReady.notify_all();
        isOn_.wait(false);
        turn();  // beginning is a step, too
        first();
        const std::lock_guard hold(lock_);
        actors_[First].isOver = true;
    });
    isReady.wait(false);
    isOn_ = true;
    isOn_.notify_all();
    second();
    for (;;) {
        while (!neitherGoesOn())
            std::this_thread::yield();
        const std::lock_guard hold(lock_);
        if (!actors_[First].waits && !actors_[Second].waits) break;
        const Actor next =
            choose({{actors_[First].passed, actors_[Second].passed}, {actors_[First].waits, actors_[Second].waits}});
        actors_[next].waits = false;
        actors_[next].mayGo = true;
        changed_.notify_all();
    }
    std::array<int, 2> passed;
    {
        const std::lock_guard hold(lock_);
        passed = {actors_[First].passed, actors_[Second].passed};
        isOn_ = false;
        changed_.notify_all();
    }
    thread.join();
    return passed;
}

}  // namespace qs
