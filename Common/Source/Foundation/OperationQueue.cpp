#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "Foundation/Assertion.h"
#include "Foundation/GlobalQueue.h"
#include "Foundation/RunLoop.h"

namespace qs {

// Up to `limit` runners work off what waits; each is a block of the global queue and ends when nothing is left.
struct OperationQueue::State : std::enable_shared_from_this<OperationQueue::State> {
    State(int atOnce, GlobalQueue* own) : limit(std::max(atOnce, 1)), ownThreads(own) {}

    // Gives its place back also when the run loop goes and drops it unrun.
    class Runner {
    public:
        explicit Runner(std::shared_ptr<State> state) : state_(std::move(state)) {}
        ~Runner() {
            if (!ended_) state_->runnerWasDropped();
        }
        Runner(const Runner&) = delete;
        Runner& operator=(const Runner&) = delete;

        void run() {
            while (Block operation = state_->takeOrEnd(ended_)) {
                currentOnThisThread = state_.get();
                try {
                    operation();
                } catch (...) {
                    logCaughtException("An operation failed");
                }
                operation = nullptr;
                currentOnThisThread = nullptr;
                state_->operationFinished();
            }
        }

    private:
        const std::shared_ptr<State> state_;
        bool ended_ = false;
    };

    void add(Block operation) {
        {
            std::lock_guard guard(lock);
            waiting.push_back(std::move(operation));
            if (runners == limit) return;
            ++runners;
        }
        auto runner = std::make_shared<Runner>(shared_from_this());
        if (ownThreads)
            ownThreads->add([hold = RunLoop::main().holdTime(), runner = std::move(runner)] { runner->run(); });
        else
            RunLoop::main().postToGlobalQueue([runner] { runner->run(); });
    }

    // An empty block, and the runner's place given back, when nothing waits. One step, lest an operation that is added
    // in between finds all places taken and nobody coming for it.
    Block takeOrEnd(bool& ended) {
        std::lock_guard guard(lock);
        if (waiting.empty()) {
            --runners;
            ended = true;
            return nullptr;
        }
        Block operation = std::move(waiting.front());
        waiting.pop_front();
        ++running;
        return operation;
    }

    void operationFinished() {
        std::lock_guard guard(lock);
        --running;
        changed.notify_all();
    }

    void runnerWasDropped() {
        std::deque<Block> dropped;
        std::lock_guard guard(lock);
        if (--runners == 0) dropped.swap(waiting);
        changed.notify_all();
    }

    void dropWaiting() {
        std::deque<Block> dropped;
        std::lock_guard guard(lock);
        dropped.swap(waiting);
        changed.notify_all();
    }

    void waitUntilRunningAreDone() {
        // An operation that holds the last reference to its queue can't wait for itself.
        const int own = currentOnThisThread == this ? 1 : 0;
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return waiting.empty() && running == own; });
    }

    static thread_local const State* currentOnThisThread;

    const int limit;
    GlobalQueue* const ownThreads;  // null: the run loop's
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Block> waiting;
    int runners = 0, running = 0;
};

thread_local const OperationQueue::State* OperationQueue::State::currentOnThisThread = nullptr;

OperationQueue::OperationQueue(int limit, Threads threads)
    : ownThreads_(threads == Threads::Own ? std::make_unique<GlobalQueue>() : nullptr),
      state_(std::make_shared<State>(limit, ownThreads_.get())) {}

OperationQueue::~OperationQueue() {
    state_->dropWaiting();
    state_->waitUntilRunningAreDone();
}

void OperationQueue::add(Block operation) { state_->add(std::move(operation)); }
void OperationQueue::cancelWaiting() { state_->dropWaiting(); }
void OperationQueue::waitUntilFinished() { state_->waitUntilRunningAreDone(); }

int OperationQueue::waitingAndRunning() const {
    std::lock_guard guard(state_->lock);
    return static_cast<int>(state_->waiting.size()) + state_->running;
}

}  // namespace qs
