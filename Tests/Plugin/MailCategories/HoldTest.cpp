// Scheduled and delayed mail, from the outbox to the other inbox, on every version of the host: nothing earlier than
// its time, everything once.
#include "ComposeWindow.h"
#include "DeliveryService.h"
#include "Foundation/NotificationCenter.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "MailEngine.h"
#include "MainViewer.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendHooks.h"
#include "Outgoing/SendSteps.h"
#include "PluginTest.h"
#include "Support/RecordingSmtpServer.h"
#include "Text/MailHeaderDate.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr TimeInterval kHour = 3600, kDay = 86'400;

class HoldTest : public PluginTest {
protected:
    static Date now() { return RunLoop::main().now(); }
    void SetUp() override {
        failures_ =
            NotificationCenter::defaultCenter().addObserver("MailDeliveryDidFail", [this](const Notification& n) {
                told_.push_back(n.userInfo["text"].stringValue());
            });
    }
    void TearDown() override {
        PluginTest::TearDown();
        told_.clear();
    }

    void schedule(TimeInterval ahead, std::string_view subject = "Minutes") {
        auto window = host_->compose("ada", "ben@example.org", subject, "All agreed.");
        setSendLaterDate(*window->controller()->backEnd(), now() + ahead);
        Operation<void(HostObject*)>("quillstead_send:")(window->controller(), nullptr);
        host_->settle();
    }
    void send(std::string_view subject = "Minutes") {
        host_->composeAndSend("ada", "ben@example.org", subject, "Text");
    }
    MessageRef putIntoOutbox(std::string_view headers, std::string_view subject = "Minutes") {
        OutgoingMessage message;
        message.content = "From: ada@example.org\r\nTo: Ben <ben@example.org>\r\nSubject: " + std::string(subject) +
                          "\r\n" + std::string(headers) + "\r\nAll agreed.\r\n";
        auto added = host_->engine().deliveries().append("ada", message);
        EXPECT_TRUE(added);
        return added.value_or(nullptr);
    }
    void beat() {
        delegate().heartbeat();
        host_->settle();
    }
    std::size_t arrived() { return host_->inboxOf("ben").size(); }
    std::vector<MessageSummary> outbox() { return host_->messagesOf("ada", MailboxKind::Outbox); }
    DeliveryStatus status() { return host_->engine().deliveries().status(outbox().at(0).id); }

    std::vector<std::string> told_;
    ObservationRef failures_;
};

TEST_F(HoldTest, AScheduledMessageLeavesAtItsTimeOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        schedule(kHour);
        host_->advance(kHour - 3);
        EXPECT_EQ(arrived(), 0u) << minor;
        EXPECT_EQ(status().until, now() + 3) << minor;
        EXPECT_EQ(status().attempts, 0) << minor;
        host_->advance(4);
        ASSERT_EQ(arrived(), 1u) << minor << ": without waiting for the next heartbeat";
        EXPECT_THAT(outbox(), IsEmpty()) << minor;
        EXPECT_TRUE(host_->library()
                        .messageWithID(host_->inboxOf("ben")[0].id)
                        ->headers()
                        ->hasHeaderForKey(QSHeaderKeyXScheduledDate))
            << "the header stays";
        host_->advance(kDay);
        EXPECT_EQ(arrived(), 1u) << minor;
        EXPECT_THAT(told_, IsEmpty()) << minor;
        EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty()) << minor;
        TearDown();
    }
    startHost();
}

TEST_F(HoldTest, TheDelayHoldsEveryMessageForItsSecondsAndThreeMore) {
    startHost();
    defaults().setObject(false, "QSShowUndoDialog");  // whose countdown sends at zero
    defaults().setObject(true, "QSSendDelay");
    defaults().setObject(20, "QSSendDelaySeconds");
    send();
    host_->advance(22);
    beat();
    EXPECT_EQ(arrived(), 0u);
    EXPECT_EQ(status().until, now() + 1);
    host_->advance(2);
    EXPECT_EQ(arrived(), 1u);
    // Without seconds, or switched off, it leaves at once.
    defaults().setObject(0, "QSSendDelaySeconds");
    send("At once");
    EXPECT_EQ(arrived(), 2u);
    defaults().setObject(600, "QSSendDelaySeconds");
    defaults().setObject(false, "QSSendDelay");
    send("At once, too");
    EXPECT_EQ(arrived(), 3u);
    // Who lengthens the delay means what waits as well.
    defaults().setObject(true, "QSSendDelay");
    send("Long");
    defaults().setObject(20, "QSSendDelaySeconds");
    host_->advance(30);
    EXPECT_EQ(arrived(), 4u) << "and who shortens it, too";
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(HoldTest, SentNowItLeavesMonthsEarlyAndTheFlagIsCleared) {
    startHost();
    schedule(90 * kDay);
    host_->advance(kDay);
    const std::string uniqueID = outbox().at(0).uniqueID;
    delegate().setFlag(true, QSMessageFlagSendImmediately, uniqueID);
    beat();
    EXPECT_EQ(arrived(), 1u);
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, uniqueID));
}

TEST_F(HoldTest, TheFlagStaysWhileTheMessageCannotBeDelivered) {
    startHost();
    auto window = host_->compose("ada", "nobody@example.org", "Minutes", "Text");
    setSendLaterDate(*window->controller()->backEnd(), now() + kDay);
    Operation<void(HostObject*)>("quillstead_send:")(window->controller(), nullptr);
    host_->settle();
    const std::string uniqueID = outbox().at(0).uniqueID;
    delegate().setFlag(true, QSMessageFlagSendImmediately, uniqueID);
    beat();
    EXPECT_EQ(status().attempts, 1);
    EXPECT_TRUE(delegate().flagForKey(QSMessageFlagSendImmediately, uniqueID));
    EXPECT_THAT(told_, IsEmpty()) << "a failure while its date is ahead is not reported; the outbox shows it";
    EXPECT_EQ(status().state, DeliveryStatus::State::Failed);
}

TEST_F(HoldTest, UnsubscribingIsNeverHeld) {
    startHost();
    defaults().setObject(true, "QSSendDelay");
    defaults().setObject(600, "QSSendDelaySeconds");
    const std::string date = mailHeaderStringFromDate(now() + kDay);
    putIntoOutbox("X-Quillstead-Unsubscribe: 1\r\nDate: " + date + "\r\nX-Quillstead-Scheduled-Date: " + date + "\r\n");
    beat();
    EXPECT_EQ(arrived(), 1u);
}

TEST_F(HoldTest, AMessageWithoutIdsHoldsAndLeavesAsOthersDo) {
    startHost();
    const std::string date = mailHeaderStringFromDate(now() + kHour);
    const auto folder = host_->library().mailbox("ada", MailboxKind::Outbox, true);
    ASSERT_TRUE(host_->library().add(*folder,
                                     "From: ada@example.org\r\nTo: ben@example.org\r\nSubject: x\r\nDate: " + date +
                                         "\r\nX-Quillstead-Scheduled-Date: " + date + "\r\n\r\nText\r\n",
                                     {}, now()));
    beat();
    EXPECT_EQ(arrived(), 0u);
    host_->advance(kHour + 1);
    EXPECT_EQ(arrived(), 1u);
    EXPECT_THAT(log_.messages(LogLevel::Warning),
                ElementsAre("The message to be delivered does not have a unique identifier. Some of Quillstead's "
                            "functionality relies on this information!",
                            "There is no valid message-ID for this email. Tracking and Follow-Up might not work as "
                            "expected!"));
}

TEST_F(HoldTest, PixelAndFollowUpLearnTheMessageId) {
    startHost();
    std::vector<std::pair<std::string, std::string>> pixels;
    std::vector<std::string> followUps;
    QSSession::current().sendHooks().pixelWasDelivered = [&](const std::string& uuid, const std::string& messageID) {
        EXPECT_TRUE(RunLoop::main().isMainThread());
        pixels.emplace_back(uuid, messageID);
    };
    QSSession::current().sendHooks().followUpWasDelivered =
        [&](const std::string& uniqueID, const std::optional<std::string>& messageID, const std::string& notes) {
            EXPECT_TRUE(RunLoop::main().isMainThread());
            followUps.push_back(uniqueID + " " + messageID.value_or("none") + " " + notes);
        };
    putIntoOutbox("Message-Id: <m1@example.org>\r\nX-Universally-Unique-Identifier: U1\r\n"
                  "X-Quillstead-Tracking-UUID: 5D0C\r\n");
    beat();
    EXPECT_THAT(pixels, ElementsAre(Pair("5D0C", "m1@example.org")));
    EXPECT_THAT(followUps, ElementsAre("U1 m1@example.org To: ben@example.org"));
    // Without a pixel of its own, and with one that can't be delivered.
    putIntoOutbox("Message-Id: <m2@example.org>\r\nX-Universally-Unique-Identifier: U2\r\n");
    OutgoingMessage nowhere;
    nowhere.content =
        "From: ada@example.org\r\nTo: nobody@example.org\r\nX-Quillstead-Tracking-UUID: 5D0D\r\n\r\nx\r\n";
    ASSERT_TRUE(host_->engine().deliveries().append("ada", nowhere));
    beat();
    EXPECT_THAT(pixels, SizeIs(1));
    EXPECT_THAT(followUps, SizeIs(2));
}

// No attempt ended with the delivery: the server hung up, and the person knows better.
TEST_F(HoldTest, ADeliveryThatWasInDoubtIsFinishedAfterwards) {
    RecordingSmtpServer server;
    server.add({.stage = SmtpStage::FinalDot, .hangsUp = true});
    AccountRecord sam = localAccount("sam", "Sam", "sam@example.org");
    sam.outgoing.emplace();
    sam.outgoing->host = "127.0.0.1";
    sam.outgoing->port = server.port();
    sam.outgoing->security = TransportSecurity::None;
    startHost({.accounts = {sam}});
    std::vector<std::string> followUps;
    QSSession::current().sendHooks().followUpWasDelivered =
        [&](const std::string& uniqueID, const std::optional<std::string>& messageID, const std::string&) {
            followUps.push_back(uniqueID + " " + messageID.value_or("none"));
        };
    OutgoingMessage message;
    message.content = "From: sam@example.org\r\nTo: far@example.com\r\nSubject: x\r\nMessage-Id: <m1@example.org>\r\n"
                      "X-Universally-Unique-Identifier: U1\r\n\r\nText\r\n";
    ASSERT_TRUE(host_->engine().deliveries().append("sam", message));
    beat();
    ASSERT_EQ(host_->engine().deliveries().taken().size(), 1u);
    EXPECT_THAT(followUps, IsEmpty());
    ASSERT_TRUE(host_->engine().deliveries().markSent("U1"));
    host_->settle();
    EXPECT_THAT(followUps, ElementsAre("U1 m1@example.org"));
}

// The host asks the class that its version has.
TEST_F(HoldTest, AHoldIsNotReportedAsAFailureOnAnyVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor, .startDeliveries = false});
        Class* asked = QSClassFromString(minor == 10 ? "DocumentEditor" : "DeliveryQueue");
        const Error error{"Test", 7, "The server is on holiday.", {}};
        const std::string ahead = mailHeaderStringFromDate(now() + kHour), due = mailHeaderStringFromDate(now());
        const auto scheduled =
            putIntoOutbox("Date: " + ahead + "\r\nX-Quillstead-Scheduled-Date: " + ahead + "\r\n", "Ahead");
        const auto past = putIntoOutbox("Date: " + due + "\r\nX-Quillstead-Scheduled-Date: " + due + "\r\n", "Due");
        const auto delayed = putIntoOutbox("Date: " + due + "\r\n", "Delayed");

        struct Case {
            const char* why;
            MessageRef message;
            bool delay;
            TimeInterval later;
            bool reported;
        };
        TimeInterval passed = 0;
        for (const Case& c :
             {Case{"held by its schedule", scheduled, false, 0, false}, Case{"due", past, true, 0, true},
              Case{"not held at all", delayed, false, 0, true}, Case{"held by the delay", delayed, true, 0, false},
              Case{"in the second after it", delayed, true, 23.5, false}, Case{"later", delayed, true, 24.5, true},
              Case{"no message", nullptr, true, 24.5, true},
              Case{"a schedule that has come", scheduled, false, kHour, true}}) {
            host_->advance(c.later - passed);
            passed = c.later;
            defaults().setObject(c.delay, "QSSendDelay");
            defaults().setObject(20, "QSSendDelaySeconds");
            told_.clear();
            delivery_queue::handleFailedDelivery.onClass(asked, c.message, error);
            EXPECT_EQ(told_.size(), c.reported ? 1u : 0u) << c.why << ", version " << minor;
        }
        TearDown();
    }
    startHost();
}

TEST_F(HoldTest, TheProgramMayEndAndTheMachineMaySleepMeanwhile) {
    startHost();
    schedule(10 * kDay, "Report");
    host_->advance(kDay);
    restart();
    EXPECT_EQ(status().until, now() + 9 * kDay) << "known again after a start";
    host_->advance(kDay);
    EXPECT_EQ(arrived(), 0u);

    // Not running when it is due.
    MailBundleUnload();
    host_->shutDown();
    host_->passWhileDown(30 * kDay);
    host_->start();
    load();
    host_->advance(31);
    EXPECT_EQ(arrived(), 1u);

    // Asleep when it is due.
    schedule(kDay, "Another");
    host_->advance(kHour);
    RunLoop::main().setClock(now() + 2 * kDay);
    EXPECT_EQ(arrived(), 1u);
    host_->advance(31);
    EXPECT_EQ(arrived(), 2u);
}

TEST_F(HoldTest, AClockThatIsSetNeverLetsAMessageLeaveTwiceOrBeforeItShows) {
    startHost();
    schedule(kDay);
    const Date due = now() + kDay;
    RunLoop::main().setClock(now() - 7 * kDay);
    host_->advance(3 * kDay);
    EXPECT_EQ(arrived(), 0u) << "the clock shows an earlier day than when it was written";
    RunLoop::main().setClock(due - 60);
    host_->advance(50);
    EXPECT_EQ(arrived(), 0u);
    host_->advance(11);
    EXPECT_EQ(arrived(), 1u);
    RunLoop::main().setClock(due - kDay);
    host_->advance(2 * kDay);
    EXPECT_EQ(arrived(), 1u);
}

TEST_F(HoldTest, EveryDayLetsItsMessageGo) {
    startHost();
    constexpr int kDays = 5;
    for (int day = 1; day <= kDays; ++day)
        schedule(day * kDay, "Day " + std::to_string(day));
    for (int day = 1; day <= kDays; ++day) {
        host_->advance(day == 1 ? kDay - 3 : kDay);
        EXPECT_EQ(arrived(), static_cast<std::size_t>(day - 1)) << day;
    }
    host_->advance(4);
    EXPECT_EQ(arrived(), std::size_t{kDays});
    EXPECT_THAT(outbox(), IsEmpty());
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(HoldTest, WithoutThePlugInItStaysUntilItsDate) {
    startHost();
    schedule(kDay);
    MailBundleUnload();
    host_->restart();
    host_->advance(kDay - 3);
    host_->application().engine().deliveries().tryNow(outbox().at(0).uniqueID);
    EXPECT_EQ(arrived(), 0u);
    EXPECT_EQ(status().until, now() + 3);
    host_->advance(4);
    EXPECT_EQ(arrived(), 1u);
}

TEST_F(HoldTest, TheOutboxIsListedWhileSomethingWaits) {
    startHost();
    const auto listed = [&] {
        const auto outbox = host_->library().mailbox("ada", MailboxKind::Outbox, false);
        return outbox && host_->application().listsMailbox(*outbox);
    };
    send();
    EXPECT_FALSE(listed());
    schedule(kHour);
    EXPECT_TRUE(listed());
    host_->viewer().selectMailbox("ada/Outbox");
    host_->advance(kHour + 1);
    EXPECT_TRUE(listed()) << "it does not vanish under the person's eyes";
    host_->viewer().selectMailbox("ada/INBOX");
    EXPECT_FALSE(listed());
}

}  // namespace
}  // namespace qs
