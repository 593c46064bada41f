#include "DistributedNotifications/DistributedNotificationCenter.h"

#include <gmock/gmock.h>

#include <thread>

#include "Adapters.h"
#include "Foundation/RunLoop.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"
#include "Support/Waiting.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class DistributedNotifications : public ::testing::Test {
protected:
    // Everything posted before it has arrived when this comes.
    void waitFor(std::string_view last) {
        EXPECT_TRUE(loop_->runUntil([&] { return !heard_.empty() && heard_.back().first == last; }));
    }
    auto recorder() {
        return [this](std::string_view name, const Value& userInfo) {
            EXPECT_TRUE(loop_->isMainThread());
            heard_.emplace_back(name, userInfo);
        };
    }

    PrivateBus bus_;
    LogCapture log_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    const TimerRef limit_ = loop_->after(60, [this] { loop_->stop(); });  // for a test that fails
    std::vector<std::pair<std::string, Value>> heard_;
};

TEST_F(DistributedNotifications, ReachOtherProcessesWithAllTheyCarry) {
    // Two centres have two connections, as two processes would.
    const auto here = makeDistributedNotificationCenter(), there = makeDistributedNotificationCenter();
    const auto observation = there->addObserver("com.example.Update", recorder());
    const Value userInfo = Dictionary{{"QSUpdateIncludeBeta", true}, {"title", "<ä> & \x01"}, {"n", Array{1, 2.5}}};
    here->postNotificationName("com.example.Other", "", {});
    here->postNotificationName("com.example.Update", "sender", userInfo);
    waitFor("com.example.Update");
    EXPECT_THAT(heard_, ElementsAre(std::pair<std::string, Value>("com.example.Update", userInfo)));
}

TEST_F(DistributedNotifications, AreHeardByThePosterTooInOrderAndByNameOrAll) {
    const auto center = makeDistributedNotificationCenter();
    const auto all = center->addObserver("", recorder());
    for (int i = 0; i < 50; ++i)
        std::thread([&] { center->postNotificationName("n" + std::to_string(i), "", i); }).join();
    waitFor("n49");
    ASSERT_EQ(heard_.size(), 50u);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(heard_[static_cast<std::size_t>(i)].second, Value(i));
}

TEST_F(DistributedNotifications, AnEndedObservationHearsNothingMore) {
    const auto center = makeDistributedNotificationCenter();
    ObservationRef second;
    const auto first = center->addObserver("a", [&](std::string_view, const Value&) { second.reset(); });
    second = center->addObserver("a", [](std::string_view, const Value&) { ADD_FAILURE() << "it was ended"; });
    const auto end = center->addObserver("end", recorder());
    center->postNotificationName("a", "", {});
    center->postNotificationName("end", "", {});
    waitFor("end");
}

TEST_F(DistributedNotifications, OutliveTheBus) {
    const auto center = makeDistributedNotificationCenter();
    const auto observation = center->addObserver("", recorder());
    EXPECT_TRUE(center->isConnected());
    bus_.stop();
    // Its thread notices by itself; until then posting may still try.
    ASSERT_TRUE(becomesSo([&] { return !center->isConnected(); }));
    center->postNotificationName("lost", "", {});
    EXPECT_TRUE(log_.contains("Nobody can hear lost"));

    const PrivateBus another;
    center->postNotificationName("found", "", {});
    waitFor("found");
}

TEST(DistributedNotificationsWithoutBus, ArePostedToNobody) {
    const NoBus none;
    const LogCapture log;
    const auto center = makeDistributedNotificationCenter();
    EXPECT_FALSE(center->isConnected());
    const auto observation = center->addObserver("a", [](std::string_view, const Value&) { ADD_FAILURE(); });
    center->postNotificationName("a", "", {});
    EXPECT_THAT(log.messages(LogLevel::Error), ::testing::IsEmpty());
}

// A demo must not make a real program's helper remove the real plug-in.
TEST_F(DistributedNotifications, OfAProgramThatKeepsApartStayInIt) {
    const auto bus = makeDistributedNotificationCenter(), apart = makeLocalNotificationCenter();
    std::vector<std::string> within;
    const auto outside = bus->addObserver("", recorder());
    const auto inside =
        apart->addObserver("a", [&](std::string_view name, const Value&) { within.emplace_back(name); });
    {
        const auto ended = apart->addObserver("a", [&](std::string_view, const Value&) { ADD_FAILURE(); });
        apart->postNotificationName("a", "", {});
    }
    apart->postNotificationName("b", "", {});
    bus->postNotificationName("last", "", {});
    waitFor("last");
    EXPECT_THAT(heard_, SizeIs(1));
    EXPECT_THAT(within, ElementsAre("a"));
    EXPECT_FALSE(apart->isConnected());
}

}  // namespace
}  // namespace qs
