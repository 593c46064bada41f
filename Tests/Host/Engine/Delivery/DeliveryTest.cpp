#include "DeliveryService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "Compose/ComposeBackEnd.h"
#include "Delivery/DeliveryQueueObject.h"
#include "DeliveryFixture.h"
#include "Foundation/FileSystem.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Platform.h"
#include "SystemFacts/ProcessInfo.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using State = DeliveryStatus::State;

class LocalDelivery : public DeliveryFixture {};

TEST_F(LocalDelivery, ReachesEveryRecipientOnce) {
    openAndStart();
    send("ada", testMail("ada", "Ben <ben@example.org>, BEN@example.org", "1", "Bcc: ada@example.org\r\n"));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "");
    EXPECT_THAT(content("ben", MailboxKind::Inbox), Not(HasSubstr("Bcc")));
    EXPECT_THAT(content("ben", MailboxKind::Inbox), Not(HasSubstr("X-Universally-Unique")));
    EXPECT_THAT(content("ada", MailboxKind::Sent), HasSubstr("Bcc: ada@example.org"));
    EXPECT_TRUE(messages("ada", MailboxKind::Sent).front().flags.seen);
    EXPECT_FALSE(messages("ben", MailboxKind::Inbox).front().flags.seen);
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_THAT(notices_, IsEmpty());
    expectTidy();
}

TEST_F(LocalDelivery, NobodyOfThatNameStaysInTheOutboxAndIsSaidOnce) {
    openAndStart();
    send("ada", testMail("ada", "eve@example.org", "1"));
    const std::string sentence = "eve@example.org is no account of this program, and ada@example.org has no server to "
                                 "send it through.";
    EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "1");
    const DeliveryStatus status = onlyStatus();
    EXPECT_EQ(status.state, State::Failed);
    EXPECT_EQ(status.attempts, 1);
    EXPECT_EQ(status.lastAnswer, sentence);
    EXPECT_EQ(status.uniqueID, "U1");
    EXPECT_NE(status.libraryID, 0);
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], HasSubstr(sentence));

    loop_->advance(3600);
    walk();
    EXPECT_EQ(onlyStatus().attempts, 1) << "a clear refusal is not tried again by itself";

    ASSERT_TRUE(engine_->accounts().put(deliveryAccount("eve")));
    engine_->library().accountsDidChange();
    ASSERT_TRUE(deliveries().tryNow("U1"));
    loop_->runUntilIdle();
    EXPECT_EQ(subjects("eve", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    EXPECT_EQ(notices_.size(), 1u);
    expectTidy();
}

TEST_F(LocalDelivery, WhoCanBeReachedIsReachedAndTheOthersAreNamed) {
    openAndStart();
    send("ada", testMail("ada", "eve@example.org, ben@example.org, not-an-address <x>", "1"));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], HasSubstr("eve@example.org is no account of this program"));
    expectTidy();
}

// Two messages may bear the same id, by somebody's choice or for want of any.
TEST_F(LocalDelivery, DifferentMessagesAreNotTakenForRepetitions) {
    openAndStart();
    const std::string same = testMail("ada", "ben@example.org", "1");
    send("ada", same);
    send("ada", same + "But another text.\r\n");
    send("ada", same);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 1") << "only the very same message is delivered already";
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1 1 1");
}

TEST_F(LocalDelivery, GivesAMessageItsIdsWhenItIsQueued) {
    open();
    OutgoingMessage message;
    message.content = "From: ada@example.org\r\nTo: ben@example.org\r\nSubject: 1\r\n\r\nx\r\n";
    ASSERT_TRUE(deliveries().append("ada", message));
    const MessageSummary waiting = messages("ada", MailboxKind::Outbox).front();
    EXPECT_NE(waiting.messageID, "");
    EXPECT_NE(waiting.uniqueID, "");
    EXPECT_EQ(onlyStatus().state, State::Waiting);
    loop_->advance(3600);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "") << "nothing leaves before the start";
    deliveries().start();
    loop_->runUntilIdle();
    EXPECT_EQ(messages("ben", MailboxKind::Inbox).front().messageID, waiting.messageID);
}

TEST_F(LocalDelivery, MessagesThatOtherProgramsPutThereNeedNoIds) {
    openAndStart();
    const auto outbox = engine_->library().mailbox("ada", MailboxKind::Outbox, true);
    for (const char* to : {"ben@example.org", "eve@example.org", "nobody@example.org"})
        ASSERT_TRUE(engine_->library().add(*outbox, "To: " + std::string(to) + "\r\nFrom: ada@example.org\r\n\r\nx\r\n",
                                           {}, loop_->now()));
    walk();
    EXPECT_EQ(messages("ben", MailboxKind::Inbox).size(), 1u);
    EXPECT_EQ(messages("ada", MailboxKind::Outbox).size(), 2u);
    const auto statuses = deliveries().statuses();
    ASSERT_EQ(statuses.size(), 2u);
    EXPECT_NE(statuses[0].uniqueID, statuses[1].uniqueID);
    walk();
    EXPECT_EQ(notices_.size(), 2u) << "each refusal is told once";
}

// Whoever has it must not get it again, wherever he has put it meanwhile.
TEST_F(LocalDelivery, AnInterruptedDeliveryGoesOnWithTheOthers) {
    openAndStart();
    OutgoingMessage message;
    message.content = testMail("ada", "ben@example.org, ada@example.org", "1");
    ASSERT_TRUE(deliveries().append("ada", message));
    // The disk is full as soon as it is noted that the first inbox has it.
    const auto isNoted = [&] {
        const auto all = disk_.contents();
        return std::any_of(all.begin(), all.end(), [](const auto& file) {
            return file.first.ends_with(".journal") && file.second.find("reached <ben@") != std::string::npos;
        });
    };
    for (int step = 1; !isNoted(); ++step) {
        ASSERT_LT(step, 100);
        disk_.failAt({.step = step, .fault = TornDisk::Fault::NoSpace, .lasting = true});
        ASSERT_TRUE(deliveries().tryNow("U1"));
        loop_->runUntilIdle();
    }
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "");
    disk_.failAt({.step = 0});
    close();
    open();
    ASSERT_TRUE(engine_->library().erase({messages("ben", MailboxKind::Inbox).front().id}));
    deliveries().start();
    loop_->advance(1000);
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    expectTidy();
}

class HeldMail : public DeliveryFixture {
protected:
    // What a plug-in does: its own code in place of the host's.
    void patch(const char* failureClass) {
        Class& queue = *NSClassFromString(DeliveryQueue::sharedDeliveryQueue()->isa().name());
        static const Operation<int(std::shared_ptr<Message>, std::shared_ptr<MailAccount>)> replaced{"plugin_perform"};
        queue.add(replaced,
                  [this](HostObject& self, const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
                      EXPECT_FALSE(loop_->isMainThread());
                      EXPECT_TRUE(message->headersIfAvailable() != nullptr);
                      ++asked_;
                      return holds_ ? 1 : replaced(self, message, account);
                  });
        ASSERT_TRUE(queue.jr_swizzleMethod(delivery_queue::performDelivery.selector(), replaced.selector()));
        static const Operation<void(std::shared_ptr<Message>, const Error&)> failed{"plugin_failed"};
        Class& handler = *NSClassFromString(failureClass);
        handler.addClassMethod(failed, [this](Class& cls, const MessageRef& message, const Error& error) {
            EXPECT_TRUE(loop_->isMainThread());
            EXPECT_TRUE(message->headersIfAvailable() != nullptr) << "it stands in the outbox again";
            ++told_;
            if (!holds_) failed.onClass(&cls, message, error);
        });
        ASSERT_TRUE(handler.jr_swizzleClassMethod(delivery_queue::handleFailedDelivery.selector(), failed.selector()));
    }

    class Machine : public ProcessInfo {
    public:
        explicit Machine(int minor) : minor_(minor) {}
        OperatingSystemVersion operatingSystemVersion() const override { return {.minor = minor_}; }
        std::string hostName() const override { return ""; }
        std::string userFullName() const override { return ""; }
        std::filesystem::path dataFolder() const override { return {}; }
        std::filesystem::path documentsFolder() const override { return {}; }
        std::filesystem::path logFolder() const override { return {}; }

    private:
        int minor_;
    };

    int asked_ = 0, told_ = 0;
    bool holds_ = true;
};

struct Generation {
    int minor;
    const char *queueClass, *failureClass;
};

class HeldMailIn : public HeldMail, public ::testing::WithParamInterface<Generation> {};

TEST_P(HeldMailIn, WaitsUntilThePlugInLetsItGo) {
    Platform::install({.processInfo = std::make_shared<Machine>(GetParam().minor)});
    registry_.define("DocumentEditor")
        .addClassMethod(delivery_queue::handleFailedDelivery,
                        [](Class&, const MessageRef& message, const Error& e) { reportFailedDelivery(message, e); });
    openAndStart();
    EXPECT_EQ(DeliveryQueue::sharedDeliveryQueue()->isa().name(), GetParam().queueClass);
    patch(GetParam().failureClass);
    send("ada", testMail("ada", "ben@example.org", "1"));
    walk();
    EXPECT_EQ(asked_, 2) << "asked with every walk";
    EXPECT_EQ(told_, 2) << "the host cannot know that it is held";
    EXPECT_THAT(notices_, IsEmpty());
    EXPECT_EQ(onlyStatus().state, State::Waiting);
    EXPECT_EQ(onlyStatus().attempts, 0);

    holds_ = false;
    walk();
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(told_, 2);

    send("ada", testMail("ada", "eve@example.org", "2"));
    EXPECT_EQ(told_, 3);
    EXPECT_EQ(notices_.size(), 1u);
    close();
    Platform::install({});
}

INSTANTIATE_TEST_SUITE_P(Generations, HeldMailIn,
                         ::testing::Values(Generation{10, "DeliveryQueue", "DocumentEditor"},
                                           Generation{11, "MFDeliveryQueue", "MFDeliveryQueue"},
                                           Generation{12, "MFDeliveryQueue", "MFDeliveryQueue"}),
                         [](const auto& each) { return std::to_string(each.param.minor); });

class Submission : public DeliveryFixture {};

TEST_F(Submission, TheServerGetsTheMessageAsItIs) {
    openAndStart();
    std::string body = ".dot\r\n..two\r\n.\r\nbare\nline\rends\r\n\r\n" + std::string(300'000, 'x') + "\r\n.";
    send("sam", testMail("sam", "a@x.example, \"B, C\" <b@x.example>", "1",
                         "Cc: c@x.example\r\nBcc: d@x.example\r\nX-Other: 1\r\n", body));
    ASSERT_EQ(server_.received().size(), 1u);
    const ReceivedMail mail = server_.received().front();
    EXPECT_EQ(mail.from, "sam@example.org");
    EXPECT_THAT(mail.to, ElementsAre("a@x.example", "b@x.example", "c@x.example", "d@x.example"));
    EXPECT_EQ(mail.messageID, "1@example.org");
    EXPECT_THAT(mail.content, Not(HasSubstr("d@x.example")));
    EXPECT_THAT(mail.content, Not(HasSubstr("X-Universally")));
    EXPECT_THAT(mail.content, HasSubstr("X-Other: 1\r\n\r\n.dot\r\n..two\r\n.\r\nbare\r\nline\r\nends\r\n\r\nxxx"));
    EXPECT_TRUE(mail.content.ends_with("x\r\n.\r\n"));
    EXPECT_THAT(server_.violations(), IsEmpty());
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1");
    expectTidy();
}

TEST_F(Submission, WhatTheServerAnswersDecides) {
    struct Case {
        const char* why;
        SmtpRule rule;
        bool isTriedAgain;
        const char* answer;
    };
    using S = SmtpStage;
    int number = 0;
    for (const Case& c : {
             Case{"no greeting", {.stage = S::Greeting, .hangsUp = true}, true, "127.0.0.1"},
             Case{"busy", {.stage = S::Greeting, .reply = "421 4.3.2 too busy"}, true, "421 4.3.2 too busy"},
             Case{"gone at the greeting", {.stage = S::Hello, .hangsUp = true}, true, ""},
             Case{"sender refused for now", {.stage = S::Sender, .reply = "451 4.1.8 later"}, true, "451 4.1.8 later"},
             Case{"sender refused", {.stage = S::Sender, .reply = "553 5.7.1 not you"}, false, "553 5.7.1 not you"},
             Case{"gone at the sender", {.stage = S::Sender, .hangsUp = true}, true, ""},
             Case{"all recipients later", {.stage = S::Recipient, .reply = "450 4.2.1 grey"}, true, "450 4.2.1 grey"},
             Case{"all recipients never", {.stage = S::Recipient, .reply = "550 5.1.1 who"}, false, "550 5.1.1 who"},
             Case{"gone at a recipient", {.stage = S::Recipient, .hangsUp = true}, true, ""},
             Case{"no data for now", {.stage = S::Data, .reply = "452 4.3.1 full"}, true, "452 4.3.1 full"},
             Case{"no data", {.stage = S::Data, .reply = "554 5.7.0 no"}, false, "554 5.7.0 no"},
             Case{"gone at the data", {.stage = S::Data, .hangsUp = true}, true, ""},
             Case{"gone in the text", {.stage = S::Body, .match = "Subject", .hangsUp = true}, true, ""},
             Case{"not taken for now", {.stage = S::FinalDot, .reply = "452 4.3.1 full"}, true, "452 4.3.1 full"},
             Case{"not taken", {.stage = S::FinalDot, .reply = "554 5.6.0 spam"}, false, "554 5.6.0 spam"},
             Case{"not taken, and rude",
                  {.stage = S::FinalDot, .reply = "550-5.7.1 no\r\n550 5.7.1 never"},
                  false,
                  "550 5.7.1 no 5.7.1 never"},
         }) {
        SCOPED_TRACE(c.why);
        openAndStart();
        notices_.clear();
        server_.add(c.rule);
        const std::string id = std::to_string(++number);
        send("sam", testMail("sam", "a@x.example, b@x.example", id, "", std::string(200'000, 'y')));
        const DeliveryStatus status = onlyStatus();
        EXPECT_EQ(status.state, State::Failed);
        EXPECT_EQ(status.attempts, 1);
        EXPECT_THAT(status.lastAnswer, HasSubstr(c.answer));
        EXPECT_EQ(subjects("sam", MailboxKind::Outbox), id);
        EXPECT_EQ(notices_.size(), 1u);
        expectTidy();
        server_.clearRules();
        const int before = server_.connections();
        loop_->advance(31);
        EXPECT_EQ(server_.connections() > before, c.isTriedAgain);
        if (!c.isTriedAgain) {
            ASSERT_TRUE(deliveries().tryNow("U" + id));
        }
        loop_->runUntilIdle();
        EXPECT_EQ(server_.timesReceived(id + "@example.org"), 1);
        EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "");
        EXPECT_THAT(server_.violations(), IsEmpty());
        close();
    }
}

TEST_F(Submission, ServersRefuseSingleRecipients) {
    openAndStart();
    server_.add({.stage = SmtpStage::Recipient, .match = "eve@", .reply = "550 5.1.1 nobody of that name"});
    send("sam", testMail("sam", "a@x.example, eve@x.example", "1"));
    ASSERT_EQ(server_.timesReceived("1@example.org"), 1);
    EXPECT_THAT(server_.received().front().to, ElementsAre("a@x.example"));
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], HasSubstr("eve@x.example: 550 5.1.1 nobody of that name"));
    EXPECT_THAT(notices_[0], Not(HasSubstr("a@x.example:")));
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1");
    expectTidy();
}

TEST_F(Submission, AnUnreachableServerIsTriedLessAndLessOften) {
    server_.add({.stage = SmtpStage::Greeting, .hangsUp = true});
    openAndStart();
    send("sam", testMail("sam", "a@x.example", "1"));
    const int perAttempt = server_.connections();
    std::string minutes;
    int last = 1;
    for (int second = 0; second < 3600; second += 30) {
        loop_->advance(30);
        walk();  // the plug-in's heartbeat does not shorten the wait
        const int attempts = onlyStatus().attempts;
        EXPECT_LE(attempts - last, 1);
        if (attempts > last) minutes += std::to_string((second + 30) / 30) + " ";
        last = attempts;
    }
    // In half minutes: after 30 s, 1, 2, 5, and then every 15 minutes.
    EXPECT_EQ(minutes, "1 3 7 17 47 77 107 ");
    EXPECT_EQ(server_.connections(), last * perAttempt);
    EXPECT_EQ(notices_.size(), 1u) << "the same answer is told once";

    server_.clearRules();
    walk();
    EXPECT_EQ(server_.timesReceived("1@example.org"), 0) << "not due yet";
    ASSERT_TRUE(deliveries().tryNow("U1"));
    loop_->runUntilIdle();
    EXPECT_EQ(server_.timesReceived("1@example.org"), 1);
}

TEST_F(Submission, ANewMessageUnderTheSameUniqueIdIsNotHeldBackByTheOldRefusal) {
    openAndStart();
    server_.add({.stage = SmtpStage::FinalDot, .reply = "554 5.6.0 no", .times = 1});
    send("sam", testMail("sam", "a@x.example", "1"));
    ASSERT_EQ(onlyStatus().attempts, 1);
    ASSERT_TRUE(engine_->library().erase({messages("sam", MailboxKind::Outbox).front().id}));
    send("sam", testMail("sam", "a@x.example", "1", "X-Edited: yes\r\n"));
    EXPECT_EQ(server_.timesReceived("1@example.org"), 1);
}

TEST_F(Submission, NoAnswerAfterTheEndIsADoubtThatOnlyThePersonSettles) {
    for (const bool serverTookIt : {true, false}) {
        for (const bool sendsAgain : {true, false}) {
            SCOPED_TRACE(std::string(serverTookIt ? "taken, " : "lost, ") + (sendsAgain ? "send again" : "mark sent"));
            openAndStart();
            const std::string id = std::to_string(serverTookIt) + std::to_string(sendsAgain);
            server_.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = serverTookIt, .times = 1});
            send("sam", testMail("sam", "a@x.example", id));
            const int taken = serverTookIt ? 1 : 0;
            const auto expectDoubt = [&] {
                EXPECT_EQ(onlyStatus().state, State::InDoubt);
                EXPECT_EQ(onlyStatus().uniqueID, "U" + id);
                EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "");
                EXPECT_EQ(server_.timesReceived(id + "@example.org"), taken);
            };
            expectDoubt();
            loop_->advance(7200);
            walk();
            expectDoubt();
            restart();
            loop_->advance(7200);
            walk();
            expectDoubt();
            ASSERT_FALSE(notices_.empty());
            EXPECT_THAT(notices_.back(), HasSubstr("perhaps sent"));

            ASSERT_TRUE(sendsAgain ? deliveries().sendAgain("U" + id) : deliveries().markSent("U" + id));
            loop_->runUntilIdle();
            EXPECT_THAT(deliveries().statuses(), IsEmpty());
            EXPECT_EQ(server_.timesReceived(id + "@example.org"), taken + (sendsAgain ? 1 : 0));
            EXPECT_THAT(subjects("sam", MailboxKind::Sent), HasSubstr(id));
            EXPECT_FALSE(deliveries().sendAgain("U" + id)) << "settled is settled";
            expectTidy();
            restart();
            EXPECT_THAT(deliveries().statuses(), IsEmpty());
            close();
        }
    }
}

TEST_F(Submission, ACopyAmongTheSentMailSettlesADoubt) {
    openAndStart();
    server_.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = true});
    send("sam", testMail("sam", "a@x.example", "1"));
    ASSERT_EQ(onlyStatus().state, State::InDoubt);
    close();
    // The server put its copy there, under a name of its own.
    disk_.put(folder_ / "Mail/sam/.Sent/cur/1700000001.server:2,S", testMail("sam", "a@x.example", "1"));
    openAndStart();
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1") << "no second copy";
    EXPECT_EQ(server_.timesReceived("1@example.org"), 1);
    expectTidy();
}

TEST_F(Submission, NothingFromAMessageBecomesACommand) {
    openAndStart();
    const char* const evil[] = {
        "\"x@y\\r\\nRCPT TO:<evil@x.example>\" <a@x.example>",
        "<a@x.example>\x01<b@x.example\x7F>",
        "=?utf-8?Q?a=0D=0ARCPT_TO:=3Cevil=40x.example=3E,_=3Cevil=40x.example=3E?= <a@x.example>",
        "<a@x.example\x00@evil>",
        "\"a\r\n RSET\"@x.example",
        "<-a@x.example>, <a b@x.example>, <@evil:a@x.example>",
    };
    int number = 0;
    for (const char* to : evil)
        send("sam", testMail("sam", to, std::to_string(++number)));
    send("sam",
         "From: <x@y.example> SIZE=1\r\n evil\r\nTo: a@x.example\r\nSubject: from\r\nMessage-Id: <9@z>\r\n\r\nx\r\n");
    EXPECT_THAT(server_.violations(), IsEmpty());
    for (const ReceivedMail& mail : server_.received())
        for (const std::string& to : mail.to)
            EXPECT_THAT(to, Not(HasSubstr("evil@"))) << mail.content;
}

TEST_F(Submission, ADamagedJournalMeansAQuestionNotARepetition) {
    openAndStart();
    server_.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = true});
    send("sam", testMail("sam", "a@x.example", "1"));
    close();
    int damaged = 0;
    for (const auto& [path, content] : disk_.contents())
        if (path.ends_with(".journal")) {
            disk_.put(path, "unique <U1>\nrubbish\x01\n");
            ++damaged;
        }
    ASSERT_EQ(damaged, 1);
    server_.clearRules();
    openAndStart();
    walk();
    EXPECT_EQ(onlyStatus().state, State::InDoubt);
    EXPECT_EQ(server_.timesReceived("1@example.org"), 1);
    const auto put = disk_.list(folder_ / "Deliveries/corrupt");
    ASSERT_TRUE(put);
    EXPECT_EQ(put->size(), 1u);
    restart();
    EXPECT_EQ(onlyStatus().state, State::InDoubt);
    ASSERT_TRUE(deliveries().markSent("U1"));
    expectTidy();
}

TEST_F(Submission, AnUnreadableMessageIsPutAsideAndTheOthersGoOn) {
    files_ = &FileSystem::real();
    openAndStart();
    const auto claimed = folder_ / "Mail/sam/.Outbox/claimed/1700000000.odd";
    std::filesystem::create_directories(claimed.parent_path());
    ASSERT_EQ(mkfifo(claimed.c_str(), 0600), 0);
    send("sam", testMail("sam", "a@x.example", "1"));
    EXPECT_EQ(server_.timesReceived("1@example.org"), 1);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "Deliveries/corrupt/1700000000.odd"));
    ASSERT_FALSE(notices_.empty());
    EXPECT_THAT(notices_.front(), HasSubstr("can't be read"));
}

}  // namespace
}  // namespace qs
