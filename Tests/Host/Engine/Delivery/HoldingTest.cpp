// What the queue does with mail that somebody holds, and with mail that is dated ahead.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "Application/HostInstances.h"
#include "Compose/ComposeBackEnd.h"
#include "Delivery/DeliveryQueueObject.h"
#include "DeliveryFixture.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Mail/MailAccount.h"
#include "MailReading.h"
#include "Support/Waiting.h"

namespace qs {
namespace {

using ::testing::IsEmpty;
using State = DeliveryStatus::State;
using PerformDelivery = Operation<int(MessageRef, std::shared_ptr<MailAccount>)>;

constexpr TimeInterval kHour = 3600, kDay = 86'400;

std::string dateHeader(Date date) {
    return "Date: " + formatDate(date, {"EEE, d MMM yyyy HH:mm:ss ZZZ", "en_US_POSIX", "UTC"}) + "\r\n";
}

// Stands in front of the deliveries, as a plug-in does.
class Doorkeeper {
public:
    using Decide = std::function<std::optional<Date>(const Message&)>;  // until when it is held
    explicit Doorkeeper(Decide decide) {
        const PerformDelivery original("_performDeliveryOfMessage:accountUsed:"), mine("test_performDelivery");
        Class& queue = *QSClassFromString("DeliveryQueue");
        queue.add(mine, [decide, mine, this](HostObject& self, const MessageRef& message,
                                             const std::shared_ptr<MailAccount>& account) {
            ++asked;
            auto& target = static_cast<DeliveryQueue&>(self);
            if (const auto until = decide(*message)) {
                target.messageIsHeldUntil(*message, *until);
                return static_cast<int>(kDeliveryNotDelivered);
            }
            target.messageMayLeaveNow(*message);
            return mine(self, message, account);
        });
        EXPECT_TRUE(queue.jr_swizzleMethod(original.selector(), mine.selector()));
    }
    std::atomic<int> asked = 0;
};

class Holding : public DeliveryFixture {};

TEST_F(Holding, MailThatIsDatedAheadWaitsForItsDate) {
    openAndStart();
    send("ada", testMail("ada", "ben@example.org", "1", dateHeader(loop_->now() + kHour)));
    send("ada", testMail("ada", "ben@example.org", "2", dateHeader(loop_->now() + 2)));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "2") << "two seconds are nothing";
    EXPECT_EQ(onlyStatus().state, State::Waiting);
    EXPECT_EQ(onlyStatus().until, loop_->now() + kHour);
    EXPECT_EQ(deliveries().firstHeldUntil(), loop_->now() + kHour);
    loop_->advance(kHour - 1);
    EXPECT_EQ(deliveries().waitingCount(), 1);
    loop_->advance(1);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 2");
    EXPECT_EQ(deliveries().waitingCount(), 0);
    EXPECT_EQ(deliveries().firstHeldUntil(), std::nullopt);
    EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(Holding, WhoeverStandsInFrontDecides) {
    openAndStart();
    std::map<std::string, Date> held;
    Doorkeeper keeper([&](const Message& message) -> std::optional<Date> {
        const auto found = held.find(message.subject());
        return found == held.end() || found->second <= loop_->now() ? std::nullopt : std::optional(found->second);
    });
    held["1"] = loop_->now() + kHour;
    send("ada", testMail("ada", "ben@example.org", "1"));
    send("ada", testMail("ada", "ben@example.org", "2", dateHeader(loop_->now() + kDay)));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "2") << "although it is dated ahead";
    EXPECT_EQ(onlyStatus().until, loop_->now() + kHour);
    // Another date, which nobody but the keeper knows of before the next walk.
    held["1"] = loop_->now() + 2 * kHour;
    walk();
    EXPECT_EQ(onlyStatus().until, loop_->now() + 2 * kHour);
    loop_->advance(2 * kHour);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 2");
}

// A permission is for one attempt at one message.
TEST_F(Holding, APermissionDoesNotGoToTheNextMessage) {
    openAndStart();
    const PerformDelivery original("_performDeliveryOfMessage:accountUsed:"), mine("test_performDelivery");
    Class& queue = *QSClassFromString("DeliveryQueue");
    queue.add(mine, [mine](HostObject& self, const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
        if (message->subject() == "1") static_cast<DeliveryQueue&>(self).messageMayLeaveNow(*message);
        return mine(self, message, account);
    });
    ASSERT_TRUE(queue.jr_swizzleMethod(original.selector(), mine.selector()));
    for (const char* number : {"1", "2"}) {
        OutgoingMessage message;
        message.content = testMail("ada", "ben@example.org", number, dateHeader(loop_->now() + kDay));
        ASSERT_TRUE(deliveries().append("ada", message));
    }
    walk();
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
}

TEST_F(Holding, MonthsPassAndEachLeavesOnItsDay) {
    openAndStart();
    const Date start = loop_->now();
    for (const int day : {1, 30, 89, 90}) {
        OutgoingMessage message;
        message.content = testMail("ada", "ben@example.org", std::to_string(day), dateHeader(start + day * kDay));
        ASSERT_TRUE(deliveries().append("ada", message));
    }
    walk();
    loop_->advance(kDay - 3);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "");
    loop_->advance(4);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    restart();
    loop_->advance(88 * kDay);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 30 89");
    loop_->advance(kDay);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 30 89 90");
}

TEST_F(Holding, SleepAndASetClockAreNoticedWithinAMinute) {
    struct Case {
        const char* why;
        TimeInterval clock;  // added to what it shows
        TimeInterval wait;
        bool leaves;
    };
    openAndStart();
    int number = 0;
    for (const Case& c :
         {Case{"slept past the date", 2 * kDay, 61, true}, Case{"slept a while", 3 * kHour, 61, false},
          Case{"set back", -2 * kDay, 2 * kDay, false}, Case{"set back, and waited", -kDay, 2 * kDay + 61, true}}) {
        const std::string subject = "n" + std::to_string(++number);
        send("ada", testMail("ada", "ben@example.org", subject, dateHeader(loop_->now() + kDay)));
        loop_->advance(100);
        loop_->setClock(loop_->now() + c.clock);
        loop_->advance(c.wait);
        EXPECT_EQ(subjects("ben", MailboxKind::Inbox).find(subject) != std::string::npos, c.leaves) << c.why;
    }
}

TEST_F(Holding, AFailedAttemptShowsWhenTheNextOneIs) {
    openAndStart();
    server_.add({.stage = SmtpStage::FinalDot, .reply = "451 Try again later", .times = 1});
    send("sam", testMail("sam", "far@example.com", "1"));
    EXPECT_EQ(onlyStatus().state, State::Failed);
    EXPECT_EQ(onlyStatus().until, loop_->now() + 30);
    loop_->advance(31);
    EXPECT_EQ(deliveries().waitingCount(), 0) << "tried again without anybody's asking";
}

TEST_F(Holding, HeldMailBecomesDraftsWhenNobodyIsLeftToHoldIt) {
    open();
    for (const auto& [number, ahead] : {std::pair{"1", kDay}, {"2", 0.0}, {"3", 90 * kDay}}) {
        OutgoingMessage message;
        message.content = testMail("ada", "ben@example.org", number, dateHeader(loop_->now() + ahead));
        ASSERT_TRUE(deliveries().append("ada", message));
    }
    int moved = -1;
    deliveries().turnHeldIntoDrafts([&](int count, const Result<void>& result) {
        EXPECT_TRUE(result);
        moved = count;
    });
    deliveries().start();
    loop_->runUntilIdle();
    EXPECT_EQ(moved, 2);
    EXPECT_EQ(subjects("ada", MailboxKind::Drafts), "1 3");
    EXPECT_TRUE(messages("ada", MailboxKind::Drafts).front().flags.draft);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "2") << "what is due was not held";
    EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "");
    loop_->advance(100 * kDay);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "2");
}

TEST_F(Holding, MoreThanAPageOfMessagesIsKnown) {
    open();
    const auto outbox = folder_ / "Mail/ada/.Outbox";
    for (const char* name : {"cur", "new", "tmp"})
        ASSERT_TRUE(disk_.makeFolder(outbox / name));
    for (int i = 0; i < 1100; ++i) {
        const std::string number = std::to_string(i);
        disk_.put(outbox / "cur" / (number + ":2,S"),
                  testMail("ada", "ben@example.org", number, dateHeader(loop_->now() + kDay)));
    }
    restart();
    EXPECT_EQ(deliveries().statuses().size(), 1100u);
    EXPECT_EQ(deliveries().waitingCount(), 1100);
}

// A plug-in's replacement is asked for every message with every walk, but a failure that is none is handed on once.
TEST_F(Holding, AHeldMessageIsAskedForEveryTimeAndReportedOnce) {
    openAndStart();
    int reported = 0;
    const Operation<void(MessageRef, const Error&)> mine("test_handleFailed");
    Class& queue = *QSClassFromString("DeliveryQueue");
    queue.addClassMethod(mine, [&](Class&, const MessageRef&, const Error&) { ++reported; });
    ASSERT_TRUE(queue.jr_swizzleClassMethod(delivery_queue::handleFailedDelivery.selector(), mine.selector()));
    Doorkeeper keeper([&](const Message&) { return std::optional(loop_->now() + kDay); });
    send("ada", testMail("ada", "ben@example.org", "1"));
    walk();
    walk();
    EXPECT_EQ(keeper.asked, 3);
    EXPECT_EQ(reported, 1);
}

// The one test with a real clock: the main thread does nothing, and the message leaves at its time all the same.
TEST(HoldingOnARealClock, TheMainThreadIsNotNeeded) {
    auto loop = RunLoop::make(RunLoop::Clock::Real);
    ClassRegistry registry;
    TemporaryFolder folder;
    {
        auto book = AccountBook::open(folder / "Accounts.plist", FileSystem::real());
        ASSERT_TRUE(book);
        ASSERT_TRUE((*book)->put(deliveryAccount("ada")));
    }
    auto engine = MailEngine::open({.dataFolder = folder.path(), .watchFolders = false});
    ASSERT_TRUE(engine);
    // Deliveries begin on the main thread once the folders are read in, which this is not about.
    MailReading::of((*engine)->library()).waitUntilReadIn();
    std::promise<void> wasHeld, mayLeave;
    std::optional<Date> until;
    Doorkeeper keeper([&](const Message&) -> std::optional<Date> {
        if (!until) {
            until = loop->now() + 0.05;
            wasHeld.set_value();
        }
        if (*until > loop->now()) return until;
        mayLeave.set_value();
        return std::nullopt;
    });
    OutgoingMessage message;
    message.content = testMail("ada", "ada@example.org", "1");
    ASSERT_TRUE((*engine)->deliveries().append("ada", message));
    (*engine)->deliveries().start();
    EXPECT_TRUE(isKept(wasHeld));
    EXPECT_TRUE(isKept(mayLeave));
    (*engine)->deliveries().stop();
    loop->runUntilIdle();
    engine->reset();
    HostInstances::current() = {};
}

}  // namespace
}  // namespace qs
