#include "Foundation/RunLoop.h"

#include <gmock/gmock.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <future>
#include <stdexcept>
#include <thread>

#include "Foundation/Assertion.h"
#include "Foundation/RunLoopAsio.h"
#include "Support/VirtualClockTest.h"
#include "Support/Waiting.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr TimeInterval kDay = 86'400;

// What holds for both clocks.
class BothClocks : public testing::TestWithParam<RunLoop::Clock> {
protected:
    Block note(std::string text) {
        return [this, text] { noted_.push_back(text); };
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(GetParam());
    std::vector<std::string> noted_;
    LogCapture log_;
};
INSTANTIATE_TEST_SUITE_P(Clocks, BothClocks, testing::Values(RunLoop::Clock::Real, RunLoop::Clock::Virtual),
                         [](const auto& p) { return p.param == RunLoop::Clock::Real ? "Real" : "Virtual"; });

TEST_P(BothClocks, BlocksRunLaterInTheOrderOfPosting) {
    loop_->post([&] {
        noted_.push_back("a");
        loop_->post(note("c"));
        noted_.push_back("a done");
    });
    loop_->post(note("b"));
    EXPECT_THAT(noted_, IsEmpty());
    loop_->runUntilIdle();
    EXPECT_THAT(noted_, ElementsAre("a", "a done", "b", "c"));
}

TEST_P(BothClocks, ANestedRunHandlesOthersUntilItsQuestionIsAnswered) {
    bool answered = false;
    loop_->post([&] {
        noted_.push_back("asks");
        EXPECT_TRUE(loop_->runUntil([&] { return answered; }));
        noted_.push_back("has its answer");
    });
    loop_->post(note("other"));
    loop_->post([&] { answered = true; });
    loop_->post(note("after the answer"));
    loop_->runUntilIdle();
    EXPECT_THAT(noted_, ElementsAre("asks", "other", "has its answer", "after the answer"));
}

TEST_P(BothClocks, StopEndsTheRunAndAllNestedRuns) {
    loop_->post([&] {
        EXPECT_FALSE(loop_->runUntil([] { return false; }));
        noted_.push_back("nested ended");
    });
    loop_->post([&] { loop_->stop(); });
    loop_->post(note("left"));
    loop_->run();
    EXPECT_THAT(noted_, ElementsAre("nested ended"));
    EXPECT_TRUE(loop_->isStopped());
    loop_->run();
    EXPECT_THAT(noted_, ElementsAre("nested ended")) << "stopped for good";
}

TEST_P(BothClocks, StopFromAnotherThreadWakesTheLoop) {
    std::jthread other([&] { loop_->stop(); });
    loop_->run();
}

TEST_P(BothClocks, AFailingBlockIsLoggedAndTheLoopGoesOn) {
    loop_->post([] { throw std::runtime_error("no disk"); });
    loop_->post([] { raiseAssertion("a fault"); });
    loop_->after(0, [] { throw std::runtime_error("in a timer"); });
    loop_->post(note("next"));
    ASSERT_TRUE(loop_->runUntil([&] { return log_.messages().size() == 3 && !noted_.empty(); }));
    EXPECT_THAT(noted_, ElementsAre("next"));
    EXPECT_THAT(log_.messages(LogLevel::Error),
                testing::UnorderedElementsAre("A block of the run loop failed: no disk", "a fault",
                                              "A block of the run loop failed: in a timer"));
}

TEST_P(BothClocks, GlobalWorkRunsElsewhereAndComesBack) {
    loop_->postToGlobalQueue([&] {
        EXPECT_FALSE(loop_->isMainThread());
        loop_->performOnMainThreadAndWait([&] {
            EXPECT_TRUE(loop_->isMainThread());
            noted_.push_back("on the main thread");
        });
        loop_->post(note("posted"));
    });
    loop_->runUntilIdle();
    EXPECT_THAT(noted_, ElementsAre("on the main thread", "posted"));
    loop_->performOnMainThreadAndWait(note("at once"));
    EXPECT_EQ(noted_.back(), "at once");
}

TEST_P(BothClocks, ExceptionsOfABlockThatIsWaitedForComeToTheWaiter) {
    loop_->postToGlobalQueue([&] {
        try {
            loop_->performOnMainThreadAndWait([] { throw std::runtime_error("for you"); });
        } catch (const std::runtime_error& e) {
            noted_.push_back(e.what());
        }
    });
    loop_->runUntilIdle();
    EXPECT_THAT(noted_, ElementsAre("for you"));
    EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_P(BothClocks, TimersFireInTheOrderOfDueTimeAndNotWhenInvalidated) {
    const TimeInterval begun = loop_->uptime();
    loop_->after(0.1, note("third"));
    loop_->after(0.05, note("second"));
    TimerRef dropped = loop_->after(0.075, note("never"));
    loop_->after(-5, [&] {
        noted_.push_back("first");
        dropped->invalidate();
    });
    if (loop_->uptime() - begun >= 0.025) GTEST_SKIP() << "this thread stood still meanwhile: the order is another one";
    if (GetParam() == RunLoop::Clock::Virtual) loop_->advance(1);
    ASSERT_TRUE(loop_->runUntil([&] { return noted_.size() == 3; }));
    EXPECT_THAT(noted_, ElementsAre("first", "second", "third"));
    EXPECT_FALSE(dropped->isValid());
}

TEST_P(BothClocks, DestructionDropsWhatWaitsAndWaitsForWhatRuns) {
    struct PostsWhenDropped {
        ~PostsWhenDropped() {
            RunLoop::main().post([] { FAIL(); });
            RunLoop::main().postToGlobalQueue([] { FAIL(); });
            RunLoop::main().after(0, [] { FAIL(); });
        }
    };
    std::promise<void> running;
    std::atomic<bool> finished = false;
    bool refused = false;
    loop_->postToGlobalQueue([&] {
        running.set_value();
        try {
            RunLoop::main().performOnMainThreadAndWait([] { FAIL(); });
        } catch (const std::runtime_error&) {
            refused = true;
        }
        RunLoop::main().uptime();
        finished = true;
    });
    EXPECT_TRUE(isKept(running));
    auto kept = std::make_shared<PostsWhenDropped>();
    loop_->post([kept] { FAIL(); });
    TimerRef timer = loop_->after(0, [kept] { FAIL(); });
    std::weak_ptr<PostsWhenDropped> watched = kept;
    kept.reset();
    std::shared_ptr<void> hold = loop_->holdTime();
    loop_.reset();
    EXPECT_TRUE(finished);
    EXPECT_TRUE(refused) << "the worker must not wait for ever";
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE(timer->isValid());
    timer->invalidate();
    hold.reset();
    EXPECT_EQ(RunLoop::mainIfInstalled(), nullptr);
}

TEST_P(BothClocks, SocketsAreServedInNestedRuns) {
    using boost::asio::ip::tcp;
    auto& context = ioContextOf(*loop_);
    tcp::acceptor acceptor(context, {boost::asio::ip::address_v4::loopback(), 0});
    std::string got;
    char buffer[16];
    tcp::socket peer(context);
    acceptor.async_accept([&](boost::system::error_code error, tcp::socket socket) {
        ASSERT_FALSE(error);
        peer = std::move(socket);
        peer.async_read_some(boost::asio::buffer(buffer),
                             [&](boost::system::error_code, std::size_t n) { got.assign(buffer, n); });
    });
    loop_->postToGlobalQueue([port = acceptor.local_endpoint().port()] {
        boost::asio::io_context own;
        tcp::socket socket(own);
        socket.connect({boost::asio::ip::address_v4::loopback(), port});
        boost::asio::write(socket, boost::asio::buffer("hello", 5));
    });
    std::shared_ptr<void> answerUnderWay = loop_->holdTime();
    loop_->post([&] {
        EXPECT_TRUE(loop_->runUntil([&] { return !got.empty(); }));
        answerUnderWay.reset();
    });
    loop_->runUntilIdle();
    EXPECT_EQ(got, "hello");
}

TEST_P(BothClocks, OneLoopAtATimeAndTheMainThreadAlone) {
    EXPECT_THROW(RunLoop::make(GetParam()), AssertionFailure);
    EXPECT_EQ(&RunLoop::main(), loop_.get());
    std::jthread([&] { EXPECT_THROW(loop_->runUntilIdle(), AssertionFailure); }).join();
    loop_.reset();
    EXPECT_THROW(RunLoop::main(), AssertionFailure);
    EXPECT_NO_THROW(RunLoop::make(GetParam()));
}

class VirtualRunLoopTest : public VirtualClockTest {
protected:
    Block note(std::string text) {
        return [this, text] { noted_.push_back(text + " " + std::to_string(int(loop_->now() - kStart))); };
    }
    std::vector<std::string> noted_;
};

TEST_F(VirtualRunLoopTest, TimeStandsUntilItIsMoved) {
    loop_->after(1, note("due"));
    loop_->runUntilIdle();
    EXPECT_FALSE(loop_->runUntil([] { return false; })) << "nothing is left that could answer";
    EXPECT_EQ(loop_->now(), kStart);
    EXPECT_THAT(noted_, IsEmpty());
    for (int i = 0; i < 10; ++i)
        loop_->advance(0.1);
    EXPECT_THAT(noted_, ElementsAre("due 1")) << "ten tenths are one";
}

TEST_F(VirtualRunLoopTest, MonthsPassInTheOrderOfTheirEvents) {
    loop_->after(90 * kDay, note("after a quarter"));
    loop_->after(kDay, [&] {
        noted_.push_back("next day");
        loop_->after(kDay, note("day after"));
        loop_->post(note("posted"));
    });
    int beats = 0;
    TimerRef heart = loop_->every(60, [&] { ++beats; });
    loop_->advance(89 * kDay);
    EXPECT_THAT(noted_, ElementsAre("next day", "posted 86400", "day after 172800"));
    EXPECT_EQ(beats, 89 * 24 * 60);
    heart->invalidate();
    loop_->advance(31 * kDay);
    EXPECT_EQ(noted_.back(), "after a quarter 7776000");
    EXPECT_EQ(beats, 89 * 24 * 60);
    EXPECT_EQ(loop_->now(), kStart + 120 * kDay);
}

TEST_F(VirtualRunLoopTest, GlobalWorkAndAllItPostsComesBeforeTimeMovesOn) {
    OperationQueue queue(2);
    loop_->after(1, [&] {
        queue.add([&] {
            loop_->postToGlobalQueue([&] { loop_->post(note("work of work")); });
            loop_->performOnMainThreadAndWait([&] { loop_->after(0.5, note("timer of work")); });
        });
    });
    loop_->after(2, note("later timer"));
    loop_->advance(10);
    EXPECT_THAT(noted_, ElementsAre("work of work 1", "timer of work 1", "later timer 2"));
    loop_->afterOnGlobalQueue(5, [&] { loop_->post(note("back from the global queue")); });
    loop_->advance(5);
    EXPECT_EQ(noted_.back(), "back from the global queue 15");
}

TEST_F(VirtualRunLoopTest, ARepeatingTimerRestsWhileItsBlockRuns) {
    int depth = 0, deepest = 0, fired = 0;
    TimerRef timer = loop_->every(1, [&] {
        deepest = std::max(deepest, ++depth);
        if (++fired == 1) loop_->advance(3.5);
        --depth;
    });
    loop_->advance(6);
    EXPECT_EQ(deepest, 1);
    EXPECT_EQ(fired, 3) << "at 1, which lasts to 4.5, then at 5 and 6: the missed ones are not made up for";
}

TEST_F(VirtualRunLoopTest, ATimerMayEndItselfAndGoesOnAfterAFault) {
    TimerRef timer;
    int fired = 0;
    timer = loop_->every(1, [&, keep = std::make_shared<int>()] {
        if (++fired == 2) throw std::runtime_error("once");
        if (fired == 3) timer->invalidate();
        EXPECT_EQ(keep.use_count(), 1) << "what the block holds lives to its end";
    });
    loop_->advance(10);
    EXPECT_EQ(fired, 3);
}

TEST_F(VirtualRunLoopTest, InvalidatingDropsWhatTheBlockHeld) {
    auto held = std::make_shared<int>();
    TimerRef timer = loop_->after(kDay, [held] {});
    timer->invalidate();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(VirtualRunLoopTest, AnAlertOpenedByGlobalWorkGivesUpWhenNobodyCanAnswer) {
    bool answered = true;
    loop_->postToGlobalQueue(
        [&] { loop_->performOnMainThreadAndWait([&] { answered = loop_->runUntil([] { return false; }); }); });
    loop_->runUntilIdle();
    EXPECT_FALSE(answered);
}

TEST_F(VirtualRunLoopTest, AHoldKeepsTimeStandingUntilItGoes) {
    std::shared_ptr<void> hold = loop_->holdTime();
    loop_->after(1, note("timer"));
    std::jthread server([&] {
        loop_->post(note("answer"));
        hold.reset();
    });
    loop_->advance(1);
    EXPECT_THAT(noted_, ElementsAre("answer 0", "timer 1"));
}

TEST_F(VirtualRunLoopTest, PostingFromManyThreadsLosesNothing) {
    int sum = 0;
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < 500; ++i) {
                    loop_->post([&] { ++sum; });
                    loop_->after(i % 3, [&] { ++sum; });
                    loop_->after(1, [] {})->invalidate();
                }
            });
    }
    loop_->advance(3);
    EXPECT_EQ(sum, 4000);
}

TEST_F(VirtualRunLoopTest, ASetClockShowsAnotherTimeAndLeavesTimersAlone) {
    loop_->after(10, [&] { noted_.push_back("timer"); });
    loop_->advance(4);
    loop_->setClock(kStart + 30 * kDay);
    EXPECT_EQ(loop_->now(), kStart + 30 * kDay);
    loop_->advance(5);
    EXPECT_THAT(noted_, IsEmpty());
    loop_->setClock(kStart - kDay);
    loop_->advance(1);
    EXPECT_THAT(noted_, ElementsAre("timer"));
    EXPECT_EQ(loop_->now(), kStart - kDay + 1);
}

TEST(RealRunLoop, AWaitOnAGlobalQueueEndsWhileTheMainThreadIsBusy) {
    auto loop = RunLoop::make(RunLoop::Clock::Real);
    std::promise<void> first, second;
    std::atomic<int> droppedOnes = 0;
    loop->afterOnGlobalQueue(3600, [] { FAIL() << "an hour has not passed"; });
    TimerRef dropped = loop->afterOnGlobalQueue(0.1, [&] { ++droppedOnes; });
    dropped->invalidate();
    const int tooLate = droppedOnes;  // where this thread stood still for as long as that
    loop->afterOnGlobalQueue(0.2, [&] { second.set_value(); });
    loop->afterOnGlobalQueue(0.001, [&] {
        EXPECT_FALSE(loop->isMainThread());
        first.set_value();
    });
    // The main thread does nothing but wait.
    EXPECT_TRUE(isKept(first)) << "although others, that end later, were asked for before";
    EXPECT_TRUE(isKept(second));
    EXPECT_EQ(droppedOnes, tooLate);
}

TEST(RealRunLoop, CannotBeAdvancedAndAWaitFromAnotherThreadFires) {
    auto loop = RunLoop::make(RunLoop::Clock::Real);
    EXPECT_THROW(loop->advance(1), AssertionFailure);
    EXPECT_THROW(loop->setClock({}), AssertionFailure);
    bool fired = false;
    loop->after(3600, [] { FAIL(); });
    loop->postToGlobalQueue([&] { loop->after(0.001, [&] { fired = true; }); });
    EXPECT_TRUE(loop->runUntil([&] { return fired; })) << "although a later timer was armed";
}

}  // namespace
}  // namespace qs
