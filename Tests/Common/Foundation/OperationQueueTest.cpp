#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <stdexcept>

#include "Support/VirtualClockTest.h"

namespace qs {
namespace {

using testing::ElementsAre;

class OperationQueueTest : public VirtualClockTest {};

TEST_F(OperationQueueTest, NeverMoreThanItsLimitAtOnce) {
    for (int limit : {1, 3}) {
        std::atomic<int> now = 0, most = 0, done = 0;
        OperationQueue queue(limit);
        for (int i = 0; i < 200; ++i)
            queue.add([&] {
                const int running = ++now;
                for (int seen = most; running > seen && !most.compare_exchange_weak(seen, running);) {
                }
                std::this_thread::yield();
                --now;
                ++done;
            });
        queue.waitUntilFinished();
        EXPECT_EQ(done, 200);
        EXPECT_LE(most, limit);
        EXPECT_EQ(queue.waitingAndRunning(), 0);
    }
}

TEST_F(OperationQueueTest, UpToItsLimitRunSideBySide) {
    std::latch allHere(3);
    OperationQueue queue(3);
    for (int i = 0; i < 3; ++i)
        queue.add([&] { allHere.arrive_and_wait(); });
    queue.waitUntilFinished();
}

TEST_F(OperationQueueTest, AQueueWithThreadsOfItsOwnWorksWhileAllOthersAreBusy) {
    std::latch mayEnd(1);
    for (int i = 0; i < 100; ++i)
        loop_->postToGlobalQueue([&] { mayEnd.wait(); });
    OperationQueue own(1, OperationQueue::Threads::Own);
    bool done = false;
    own.add([&] { done = true; });
    own.waitUntilFinished();
    EXPECT_TRUE(done);
    mayEnd.count_down();
    loop_->runUntilIdle();
}

TEST_F(OperationQueueTest, ASerialQueueKeepsTheOrderAlsoAfterAFault) {
    for (const auto threads : {OperationQueue::Threads::Shared, OperationQueue::Threads::Own}) {
        std::vector<int> order;
        OperationQueue queue(1, threads);
        for (int i = 0; i < 4; ++i)
            queue.add([&, i] {
                order.push_back(i);
                if (i == 1) throw std::runtime_error("no disk");
            });
        loop_->runUntilIdle();
        EXPECT_THAT(order, ElementsAre(0, 1, 2, 3));
    }
    EXPECT_THAT(log_.messages(), ElementsAre("An operation failed: no disk", "An operation failed: no disk"));
}

TEST_F(OperationQueueTest, DestructionWaitsForWhatRunsAndDropsTheRest) {
    std::latch started(1), mayEnd(1);
    std::atomic<bool> ended = false;
    struct LetsTheFirstEnd {
        explicit LetsTheFirstEnd(std::latch& l) : latch(l) {}
        ~LetsTheFirstEnd() { latch.count_down(); }
        std::latch& latch;
    };
    auto held = std::make_shared<LetsTheFirstEnd>(mayEnd);
    auto queue = std::make_unique<OperationQueue>(1);
    queue->add([&] {
        started.count_down();
        mayEnd.wait();
        ended = true;
    });
    queue->add([held = std::move(held)] { FAIL(); });
    started.wait();
    EXPECT_EQ(queue->waitingAndRunning(), 2);
    queue.reset();
    EXPECT_TRUE(ended);
}

TEST_F(OperationQueueTest, CancellingDropsWhatWaitsAndLeavesTheQueueUsable) {
    std::latch started(1), mayEnd(1);
    std::vector<std::string> ran;
    OperationQueue queue(1);
    queue.add([&] {
        started.count_down();
        mayEnd.wait();
        ran.push_back("first");
    });
    started.wait();
    queue.add([] { FAIL(); });
    queue.cancelWaiting();
    queue.add([&] { ran.push_back("last"); });
    mayEnd.count_down();
    queue.waitUntilFinished();
    EXPECT_THAT(ran, ElementsAre("first", "last"));
}

TEST_F(OperationQueueTest, AnOperationMayHoldTheLastReferenceToItsQueue) {
    auto queue = std::make_shared<OperationQueue>(1);
    std::latch released(1);
    queue->add([queue, &released]() mutable {
        released.wait();
        queue.reset();
    });
    queue.reset();
    released.count_down();
    loop_->runUntilIdle();
}

TEST_F(OperationQueueTest, ALoopThatGoesLeavesNobodyWaiting) {
    OperationQueue queue(1);
    std::latch started(17);
    // All threads of the global queue are taken, so the operation never starts.
    for (int i = 0; i < 16; ++i)
        loop_->postToGlobalQueue([&] { started.arrive_and_wait(); });
    queue.add([] {});
    started.arrive_and_wait();
    loop_.reset();
    queue.waitUntilFinished();
    EXPECT_EQ(queue.waitingAndRunning(), 0);
}

}  // namespace
}  // namespace qs
