// The heart of the program: the main queue, global queues for work that blocks, timers, and the only clock.
//
// One run loop is installed at a time (a test may make one after the other); it belongs to the thread that made it, the
// main thread. With a virtual clock time stands still until advance() is called, so that days run in milliseconds.
#pragma once

#include <functional>
#include <memory>

#include "Foundation/Date.h"

namespace qs {

using Block = std::function<void()>;

// A scheduled block. The loop keeps it alive until it fired (one-shot) or was invalidated; dropping the handle changes
// nothing. Both calls are safe from every thread; after invalidate() on the main thread the block never runs again.
class Timer {
public:
    virtual ~Timer() = default;
    virtual void invalidate() = 0;
    virtual bool isValid() const = 0;
};
using TimerRef = std::shared_ptr<Timer>;

class RunLoop {
public:
    enum class Clock { Real, Virtual };

    // Makes a loop, owned by the caller, and installs it as main(). `start` is the first "now" of a virtual clock.
    static std::unique_ptr<RunLoop> make(Clock clock, Date start = {1'700'000'000});
    virtual ~RunLoop() = default;  // drops all timers and waiting blocks unrun, waits for running global work
    // The installed loop. An assertion failure if there is none.
    static RunLoop& main();
    static RunLoop* mainIfInstalled();

    virtual Date now() const = 0;
    virtual bool isMainThread() const = 0;
    // Seconds since some fixed start, never set back. For measuring waits against slow peers.
    virtual TimeInterval uptime() const = 0;

    // From every thread: the block runs on the main thread, later, in order.
    virtual void post(Block block) = 0;
    // Runs the block on the main thread and returns when it is done; at once if already there. Its exceptions come to
    // the caller; a std::runtime_error does if the loop goes before the block ran.
    virtual void performOnMainThreadAndWait(Block block) = 0;
    // From every thread: the block runs soon on some other thread. For work that blocks.
    virtual void postToGlobalQueue(Block block) = 0;

    // Timers fire on the main thread. From every thread. Seconds below 0 count as 0.
    virtual TimerRef after(TimeInterval seconds, Block block) = 0;
    // First after `interval`, then every `interval`; late firings are not made up for. Interval at least 0.0001. While
    // the block runs (a modal alert, say) the timer does not fire again.
    virtual TimerRef every(TimeInterval interval, Block block) = 0;
    // The block runs on a global queue, and the wait does not need the main thread: it ends in time while that is busy.
    virtual TimerRef afterOnGlobalQueue(TimeInterval seconds, Block block) = 0;

    // For work that the loop cannot see, such as an answer of a server that is under way: while what is returned lives,
    // a virtual clock stands and runUntilIdle() waits. Means nothing to a real clock. From every thread.
    [[nodiscard]] virtual std::shared_ptr<void> holdTime() = 0;

    // Runs until stop(). Main thread. Exceptions of blocks are logged and the loop goes on.
    virtual void run() = 0;
    // Nested run, as of a modal alert: handles everything that comes until `done` answers true (asked after every
    // block) or the loop is stopped. Answers whether `done` was reached. Works with both clocks; on a virtual clock it
    // also returns (false) when nothing is left that could ever make `done` true.
    virtual bool runUntil(const std::function<bool()>& done) = 0;
    // Ends run() and all nested runs, for good. From every thread and from signal handlers' self-pipe readers.
    virtual void stop() = 0;
    virtual bool isStopped() const = 0;

    // Virtual clock only: fires everything that falls due within `seconds`, in order, waiting for global work and all
    // that it posts before time moves on. Assertion failure on a real clock.
    virtual void advance(TimeInterval seconds) = 0;
    // Virtual clock only: it shows another time from now on, as when somebody sets it, or when the machine wakes from
    // sleep. Timers count the time that the machine is awake and don't notice.
    virtual void setClock(Date now) = 0;
    // Handles all that is ready now, waits for global work to finish, and returns when nothing is ready. Time stands.
    // Like advance(), it goes on after stop(), so that a test can look at what a stopped program leaves.
    virtual void runUntilIdle() = 0;
};

// Work that may run side by side, at most `limit` at a time, in the order it came. With a limit of 1 it is a serial
// queue. Counted as global work by a virtual clock. Destroying it waits for running operations and drops waiting ones.
class OperationQueue {
public:
    enum class Threads {
        Shared,  // those of the global queues, which are bounded: work waits while all of them are busy
        Own      // an operation must not hold the last reference to such a queue
    };
    explicit OperationQueue(int limit, Threads threads = Threads::Shared);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    void add(Block operation);  // from every thread
    void cancelWaiting();
    // Blocks: not from inside an operation, nor on the main thread while operations need that.
    void waitUntilFinished();
    int waitingAndRunning() const;

private:
    struct State;
    std::unique_ptr<class GlobalQueue> ownThreads_;
    std::shared_ptr<State> state_;
};

}  // namespace qs
