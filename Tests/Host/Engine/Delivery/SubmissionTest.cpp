#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Foundation/FileSystem.h"
#include "HeldFiles.h"
#include "Support/MeasuredFiles.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using State = DeliveryStatus::State;

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
        // What is cut off in the text must be more than the sockets take at once, or its end is out all the same.
        const std::size_t length = c.rule.stage == S::Body ? 20'000'000 : 200'000;
        send("sam", testMail("sam", "a@x.example, b@x.example", id, "", std::string(length, 'y')));
        const DeliveryStatus status = onlyStatus();
        EXPECT_EQ(status.state, State::Failed);
        EXPECT_EQ(status.attempts, 1);
        EXPECT_THAT(status.lastAnswer, HasSubstr(c.answer));
        EXPECT_TRUE(status.lastAnswer.ends_with('.')) << "a sentence, whatever follows it";
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

// The same for a server and for an inbox here: on the whole way nobody holds it.
TEST_F(Submission, AMessageOfAnySizePassesInPieces) {
    MeasuredFiles measured;
    files_ = &measured;
    openAndStart();
    constexpr std::size_t kSize = 40'000'000;
    std::string body;
    for (int line = 0; body.size() < kSize; ++line)
        body += ".line " + std::to_string(line) + "\r\n";
    const std::string mail = testMail("sam", "ben@example.org, eve@x.example", "1", "Bcc: d@x.example\r\n", body);
    for (const char* account : {"sam", "ada"}) {
        OutgoingMessage message;
        message.content = mail;
        ASSERT_TRUE(deliveries().append(account, message));
        measured.forget();
        server_.add({.stage = SmtpStage::Recipient, .match = "eve@", .reply = "550 5.1.1 nobody"});
        walk();
        EXPECT_GT(measured.largest(), 0u);
        EXPECT_LE(measured.largest(), 4u << 20) << account;
        EXPECT_TRUE(content(account, MailboxKind::Sent) == mail);
        EXPECT_THAT(content(account, MailboxKind::Drafts).substr(0, 200), HasSubstr("To: eve@x.example\r\n"));
        EXPECT_TRUE(content(account, MailboxKind::Drafts).ends_with(body));
    }
    ASSERT_EQ(server_.received().size(), 1u);
    EXPECT_THAT(server_.received()[0].content.substr(0, 400), Not(HasSubstr("Bcc")));
    EXPECT_TRUE(server_.received()[0].content.ends_with("\r\n\r\n" + body));
    EXPECT_TRUE(content("ben", MailboxKind::Inbox) == server_.received()[0].content);
    close();
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

TEST_F(Submission, NothingIsSettledOrLeavesBeforeAllMailIsRead) {
    openAndStart();
    server_.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = true, .times = 1});
    send("sam", testMail("sam", "a@x.example", "1"));
    close();
    notices_.clear();
    disk_.put(folder_ / "Mail/sam/.Sent/cur/1700000001.server:2,S", testMail("sam", "a@x.example", "1"));
    disk_.put(folder_ / "Mail/sam/.Outbox/cur/1700000002.box:2,S", testMail("sam", "a@x.example", "2"));
    for (const char* side : {"", "-wal", "-shm"})
        std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
    HeldFiles held(disk_);
    files_ = &held;
    open();
    deliveries().start();
    held.waitUntilHeld();
    OutgoingMessage message;
    message.content = testMail("sam", "a@x.example", "3");
    ASSERT_TRUE(deliveries().append("sam", message));
    DeliveryQueue::sharedDeliveryQueue()->resetStateAndReprocessQueue();
    const auto taken = deliveries().taken();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken.front().state, State::Sending) << "not asked about before the sent mail was looked through";
    EXPECT_EQ(server_.timesReceived("2@example.org") + server_.timesReceived("3@example.org"), 0);
    held.letAllPass();
    loop_->runUntilIdle();
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_THAT(notices_, IsEmpty());
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1 2 3");
    for (const char* id : {"1@example.org", "2@example.org", "3@example.org"})
        EXPECT_EQ(server_.timesReceived(id), 1) << id;
    close();
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
