#include "Foundation/RunLoop.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "Foundation/AlarmThread.h"
#include "Foundation/Assertion.h"
#include "Foundation/GlobalQueue.h"
#include "Foundation/Handover.h"
#include "Foundation/RunLoopAsio.h"
#include "Foundation/TimerQueue.h"

namespace qs {
namespace {

using SteadyClock = std::chrono::steady_clock;

std::atomic<RunLoop*> installedLoop = nullptr;

// Sums of waits that come to the same time on paper may differ in the last bits.
constexpr TimeInterval kRounding = 1e-6;
constexpr TimeInterval kShortestInterval = 0.0001;

// The holds on a virtual clock. A hold may outlive its loop.
struct HoldCount {
    std::mutex lock;
    int count = 0;
    std::function<void()> whenOneGoes;
};
class Hold {
public:
    explicit Hold(std::shared_ptr<HoldCount> holds) : holds_(std::move(holds)) {
        std::lock_guard guard(holds_->lock);
        ++holds_->count;
    }
    ~Hold() {
        std::lock_guard guard(holds_->lock);
        --holds_->count;
        if (holds_->whenOneGoes) holds_->whenOneGoes();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    const std::shared_ptr<HoldCount> holds_;
};

// Every block, and every timer that is due, has a token in Asio's queue, which so keeps the order among blocks, timers
// and sockets and wakes the loop. The blocks themselves are kept here, so that they can be dropped in an orderly way.
class AsioRunLoop : public RunLoop {
public:
    bool isMainThread() const override { return std::this_thread::get_id() == mainThread_; }

    void post(Block block) override {
        std::lock_guard guard(lock_);
        if (closed_) return;
        ready_.push_back(std::move(block));
        boost::asio::post(*context_, [this] { runOneReady(); });
    }

    void performOnMainThreadAndWait(Block block) override {
        if (isMainThread()) return block();
        auto handover = std::make_shared<Handover>();
        // A worker that waits for a block which runs already brings nothing new: nobody needs to wait for it.
        const bool counted = GlobalQueue::isOnWorkerThread();
        post([this, counted, block = std::move(block), ticket = std::make_shared<Handover::Ticket>(handover)] {
            std::exception_ptr error;
            if (counted) ++waitingWorkers_;
            try {
                block();
            } catch (...) {
                error = std::current_exception();
            }
            if (counted) --waitingWorkers_;
            ticket->done(std::move(error));
        });
        handover->wait();
    }

    void postToGlobalQueue(Block block) override {
        struct Work {
            std::shared_ptr<void> hold;  // goes last
            Block block;
        };
        if (isClosed()) return;
        auto work = std::make_shared<Work>(Work{holdTime(), std::move(block)});
        global_.add([work = std::move(work)] { work->block(); });
    }

    TimerRef after(TimeInterval seconds, Block block) override {
        const TimeInterval due = uptime() + std::max(seconds, 0.0);
        TimerRef timer = timers_->add(due, 0, std::move(block));
        timerAdded(due);
        return timer;
    }
    TimerRef every(TimeInterval interval, Block block) override {
        interval = std::max(interval, kShortestInterval);
        const TimeInterval due = uptime() + interval;
        TimerRef timer = timers_->add(due, interval, std::move(block));
        timerAdded(due);
        return timer;
    }

    std::shared_ptr<void> holdTime() override { return std::make_shared<Hold>(holds_); }

    void run() override {
        assertMainThread();
        while (!stopped_)
            handleNext();
    }

    void stop() override {
        stopped_ = true;
        wake();
    }
    bool isStopped() const override { return stopped_; }

    void runUntilIdle() override {
        assertMainThread();
        while (handleOneOrWaitForWork()) {
        }
    }

    boost::asio::io_context& context() { return *context_; }

protected:
    AsioRunLoop() {
        holds_->whenOneGoes = [this] { wake(); };
    }

    // For the destructors of the final classes: global work under way may call any function of the loop, and what is
    // dropped may ask for it, so that it must be whole and installed to the end. What comes now is dropped.
    void shutDown() {
        std::deque<Block> dropped;
        {
            std::lock_guard guard(lock_);
            closed_ = true;
            dropped.swap(ready_);
        }
        dropped.clear();
        timers_->close();
        global_.close();
        keepRunning_.reset();
        destroyContext();
        {
            std::lock_guard guard(holds_->lock);
            holds_->whenOneGoes = nullptr;
        }
        installedLoop = nullptr;
    }

    virtual void timerAdded(TimeInterval due) = 0;
    // Destroys what stands on the context, then the context.
    virtual void destroyContext() { context_.reset(); }

    void assertMainThread() const { assertThat(isMainThread(), "The run loop is run on the main thread only"); }

    // Waits for the next handler and runs it.
    void handleNext() {
        guarded([this] { context_->run_one(); });
    }
    // Handles one thing that is ready. Else waits for something, if work is under way that may bring it. False if not.
    bool handleOneOrWaitForWork() {
        // Asked first: what work posts comes before its end.
        const bool mayBringMore = workUnderWay();
        bool handled = true;  // also when it threw
        guarded([&] { handled = context_->poll_one() != 0; });
        if (handled) return true;
        if (mayBringMore) handleNext();
        return mayBringMore;
    }
    void postToken(std::function<void()> token) {
        std::lock_guard guard(lock_);
        if (!closed_) boost::asio::post(*context_, std::move(token));
    }

    template <class F>
    static void guarded(F handle) {
        try {
            handle();
        } catch (...) {
            logCaughtException("A block of the run loop failed");
        }
    }

    std::unique_ptr<boost::asio::io_context> context_ = std::make_unique<boost::asio::io_context>();
    const std::shared_ptr<TimerQueue> timers_ = std::make_shared<TimerQueue>();
    std::atomic<bool> stopped_ = false;

private:
    void runOneReady() {
        Block block;
        {
            std::lock_guard guard(lock_);
            if (ready_.empty()) return;
            block = std::move(ready_.front());
            ready_.pop_front();
        }
        block();
    }
    bool isClosed() {
        std::lock_guard guard(lock_);
        return closed_;
    }
    void wake() {
        postToken([] {});
    }
    bool workUnderWay() {
        std::lock_guard guard(holds_->lock);
        return holds_->count > waitingWorkers_;
    }

    const std::thread::id mainThread_ = std::this_thread::get_id();
    std::mutex lock_;
    std::deque<Block> ready_;
    bool closed_ = false;
    const std::shared_ptr<HoldCount> holds_ = std::make_shared<HoldCount>();
    std::atomic<int> waitingWorkers_ = 0;  // global work that waits for a block which the main thread is running
    GlobalQueue global_;
    std::optional<boost::asio::executor_work_guard<boost::asio::io_context::executor_type>> keepRunning_{
        context_->get_executor()};
};

// One Asio timer is armed for the earliest of ours. Only the main thread touches it.
class RealRunLoop final : public AsioRunLoop {
public:
    ~RealRunLoop() override {
        alarms_.stop();
        shutDown();
    }

    Date now() const override {
        return {std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count()};
    }
    TimeInterval uptime() const override {
        return std::chrono::duration<double>(SteadyClock::now() - started_).count();
    }

    bool runUntil(const std::function<bool()>& done) override {
        assertMainThread();
        while (!done()) {
            if (stopped_) return false;
            handleNext();
        }
        return true;
    }

    TimerRef afterOnGlobalQueue(TimeInterval seconds, Block block) override {
        return alarms_.after(seconds, [this, block = std::move(block)] { postToGlobalQueue(block); });
    }

    void advance(TimeInterval) override { raiseAssertion("A real clock can't be advanced"); }
    void setClock(Date) override { raiseAssertion("A real clock can't be set"); }

private:
    void timerAdded(TimeInterval) override {
        if (isMainThread())
            arm();
        else
            postToken([this] { arm(); });
    }
    void destroyContext() override {
        alarm_.reset();
        AsioRunLoop::destroyContext();
    }

    void arm() {
        const std::optional<TimeInterval> earliest = timers_->earliest();
        if (!earliest || earliest == armedFor_ || !alarm_) return;
        armedFor_ = earliest;
        // Asio can't wait for more than its clock can count.
        constexpr TimeInterval longestWait = 86'400.0 * 365;
        const std::chrono::duration<double> wait(std::min(*earliest, uptime() + longestWait));
        alarm_->expires_at(started_ + std::chrono::ceil<SteadyClock::duration>(wait));
        alarm_->async_wait([this](const boost::system::error_code& error) {
            if (error) return;  // armed anew for an earlier timer
            armedFor_.reset();
            fire();
        });
    }

    // One timer for each turn of the loop, so that a nested run asks its question after each. The rest is armed before
    // the block runs, for the nested run that it may make.
    void fire() {
        const auto armRest = [this] { arm(); };
        try {
            timers_->fireOne(uptime(), armRest, [this] { return uptime(); });
        } catch (...) {
            arm();
            throw;
        }
        arm();
    }

    const SteadyClock::time_point started_ = SteadyClock::now();
    AlarmThread alarms_{[this] { return uptime(); }};
    std::optional<boost::asio::steady_timer> alarm_{context()};
    std::optional<TimeInterval> armedFor_;
};

class VirtualRunLoop final : public AsioRunLoop {
public:
    explicit VirtualRunLoop(Date start) : start_(start.secondsSince1970) {}
    ~VirtualRunLoop() override { shutDown(); }

    Date now() const override { return {start_ + elapsed_}; }
    TimeInterval uptime() const override { return elapsed_; }

    bool runUntil(const std::function<bool()>& done) override {
        assertMainThread();
        while (!done()) {
            if (stopped_ || !handleOneOrWaitForWork()) return false;
        }
        return true;
    }

    void advance(TimeInterval seconds) override {
        assertMainThread();
        const TimeInterval target = elapsed_ + std::max(seconds, 0.0);
        runUntilIdle();
        for (auto due = timers_->earliest(); due && *due <= target + kRounding; due = timers_->earliest()) {
            moveTo(*due);
            guarded([this] { fireOneDue(); });
            runUntilIdle();
        }
        moveTo(target);
    }

    void setClock(Date now) override { start_ = now.secondsSince1970 - elapsed_; }

    TimerRef afterOnGlobalQueue(TimeInterval seconds, Block block) override {
        return after(seconds, [this, block = std::move(block)] { postToGlobalQueue(block); });
    }

private:
    void timerAdded(TimeInterval due) override {
        if (due <= elapsed_) postToken([this] { fireOneDue(); });
    }
    void fireOneDue() {
        timers_->fireOne(
            elapsed_ + kRounding, [] {}, [this] { return elapsed_.load(); });
    }
    void moveTo(TimeInterval time) {
        if (time > elapsed_) elapsed_ = time;
    }

    std::atomic<double> start_;  // what the clock showed when nothing had elapsed
    std::atomic<TimeInterval> elapsed_ = 0;
};

}  // namespace

std::unique_ptr<RunLoop> RunLoop::make(Clock clock, Date start) {
    assertThat(!installedLoop, "A run loop is installed already");
    std::unique_ptr<RunLoop> loop;
    if (clock == Clock::Real)
        loop = std::make_unique<RealRunLoop>();
    else
        loop = std::make_unique<VirtualRunLoop>(start);
    installedLoop = loop.get();
    return loop;
}

RunLoop& RunLoop::main() {
    RunLoop* loop = installedLoop;
    if (!loop) raiseAssertion("No run loop is installed");
    return *loop;
}

RunLoop* RunLoop::mainIfInstalled() { return installedLoop; }

boost::asio::io_context& ioContextOf(RunLoop& loop) {
    auto* found = dynamic_cast<AsioRunLoop*>(&loop);
    assertThat(found != nullptr, "This run loop has no sockets");
    return found->context();
}

}  // namespace qs
