#include "Foundation/GlobalQueue.h"

#include "Foundation/Assertion.h"

namespace qs {
namespace {
thread_local bool onWorkerThread = false;
}

bool GlobalQueue::isOnWorkerThread() { return onWorkerThread; }

void GlobalQueue::add(Block block) {
    std::lock_guard guard(lock_);
    if (closed_) return;
    waiting_.push_back(std::move(block));
    if (waiting_.size() > idle_ && threads_.size() < kMostThreads)
        threads_.emplace_back([this] { work(); });
    else
        more_.notify_one();
}

void GlobalQueue::work() {
    onWorkerThread = true;
    std::unique_lock guard(lock_);
    while (true) {
        ++idle_;
        more_.wait(guard, [this] { return closed_ || !waiting_.empty(); });
        --idle_;
        if (closed_) return;
        Block block = std::move(waiting_.front());
        waiting_.pop_front();
        guard.unlock();
        try {
            block();
        } catch (...) {
            logCaughtException("A block of a global queue failed");
        }
        block = nullptr;
        guard.lock();
    }
}

void GlobalQueue::close() {
    std::deque<Block> dropped;
    std::vector<std::thread> ending;
    {
        std::lock_guard guard(lock_);
        closed_ = true;
        dropped.swap(waiting_);
        ending.swap(threads_);
    }
    more_.notify_all();
    dropped.clear();
    for (std::thread& thread : ending)
        thread.join();
}

}  // namespace qs
