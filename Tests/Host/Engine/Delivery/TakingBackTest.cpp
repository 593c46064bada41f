// Taking a message back out of the outbox: it is among the drafts, or it leaves, and never both.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Mail/Mailbox.h"
#include "Maildir/MaildirName.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Fault = TornDisk::Fault;

class TakingBack : public DeliveryFixture {
protected:
    // A machine with that disk. The index may be of another time.
    void bootOn(std::unique_ptr<TornDisk> disk, bool withIndex = false) {
        close();
        if (!withIndex)
            for (const char* file : {"Library.sqlite", "Library.sqlite-wal", "Library.sqlite-shm"})
                std::filesystem::remove(folder_ / file);
        torn_ = std::move(disk);
        files_ = torn_.get();
        notices_.clear();
    }
    void SetUp() override {
        DeliveryFixture::SetUp();
        files_ = torn_.get();
    }
    std::int64_t append(const std::string& number, const std::string& account = "ada") {
        OutgoingMessage message;
        message.content = testMail(account, "ben@example.org", number);
        const auto added = deliveries().append(account, message);
        EXPECT_TRUE(added) << added.error().description;
        return added ? (*added)->libraryID() : 0;
    }
    std::shared_ptr<Mailbox> mailbox(MailboxKind kind, std::string_view account = "ada") {
        return engine_->library().mailbox(account, kind, true);
    }
    Result<void> takeBack(std::int64_t id, MailboxKind to = MailboxKind::Drafts, std::string_view account = "ada") {
        return deliveries().takeBack({id}, *mailbox(to, account));
    }
    std::string places() {
        return "outbox " + subjects("ada", MailboxKind::Outbox) + ", drafts " + subjects("ada", MailboxKind::Drafts) +
               ", inbox " + subjects("ben", MailboxKind::Inbox);
    }
    void expectNoNotes() {
        for (const auto& [path, content] : torn_->contents())
            EXPECT_FALSE(path.ends_with(".takeback")) << path;
    }
    // As a program that was cut off leaves it: the note stands, and the message where the test has put it.
    void leaveNote(std::int64_t id, const std::string& target) {
        const std::string name = MaildirName(engine_->library().file(id).filename().string()).unique();
        torn_->put(folder_ / "Deliveries" / (name + ".takeback"), target);
    }
    std::string noteFor(std::string_view mailbox, std::string_view number) {
        return "<plist version=\"1.0\"><dict><key>Target</key><string>" + std::string(mailbox) +
               "</string><key>UniqueID</key><string>U" + std::string(number) + "</string><key>Subject</key><string>" +
               std::string(number) + "</string></dict></plist>";
    }

    std::unique_ptr<TornDisk> torn_ = std::make_unique<TornDisk>();
};

TEST_F(TakingBack, MovesWhatWaitsAndOnlyThat) {
    open();
    const auto first = append("1"), second = append("2"), third = append("3"), fourth = append("4");
    const std::string before = content("ada", MailboxKind::Outbox);
    EXPECT_TRUE(takeBack(fourth));
    EXPECT_EQ(content("ada", MailboxKind::Drafts), before) << "octet for octet";
    EXPECT_TRUE(deliveries().takeBack({first, second}, *mailbox(MailboxKind::Drafts, "ben"))) << "of another account";
    deliveries().start();
    loop_->runUntilIdle();
    EXPECT_EQ(places(), "outbox , drafts 4, inbox 3");
    EXPECT_EQ(subjects("ben", MailboxKind::Drafts), "1 2");
    for (const std::int64_t id : {first, third, fourth, std::int64_t{4711}}) {
        const auto again = takeBack(id);
        ASSERT_FALSE(again) << id;
        EXPECT_EQ(again.error().description, "The message has left the outbox.");
    }
    EXPECT_EQ(places(), "outbox , drafts 4, inbox 3");
    expectNoNotes();
}

TEST_F(TakingBack, GoesToTheTrashLikewise) {
    open();
    EXPECT_TRUE(takeBack(append("1"), MailboxKind::Trash));
    deliveries().start();
    loop_->runUntilIdle();
    EXPECT_EQ(places(), "outbox , drafts , inbox ");
    EXPECT_EQ(subjects("ada", MailboxKind::Trash), "1");
}

TEST_F(TakingBack, WhatWasCutOffIsSettledBeforeTheQueueRuns) {
    struct Case {
        const char* why;
        std::string target;
        bool isMoved, isCopied;
        const char* mailbox;
    };
    for (const Case& c : {Case{"nothing has moved yet", noteFor("ada/Drafts", "1"), false, false, "Drafts"},
                          Case{"it stands in both", noteFor("ada/Drafts", "1"), false, true, "Drafts"},
                          Case{"it has moved", noteFor("ada/Drafts", "1"), true, false, "Drafts"},
                          Case{"the target is gone", noteFor("eve/Drafts", "1"), false, false, "Drafts"},
                          Case{"the note is damaged", "nonsense", false, false, "Drafts"}}) {
        bootOn(std::make_unique<TornDisk>());
        open();
        const auto id = append("1");
        const auto drafts = mailbox(MailboxKind::Drafts);
        ASSERT_EQ(drafts->identifier(), "ada/Drafts");
        const auto file = engine_->library().file(id);
        leaveNote(id, c.target);
        if (c.isCopied) torn_->put(folder_ / "Mail/ada/.Drafts/cur" / file.filename(), *engine_->library().content(id));
        if (c.isMoved) {
            EXPECT_TRUE(engine_->library().move({id}, *drafts));
        }
        close();
        notices_.clear();
        openAndStart();
        loop_->advance(4000);
        EXPECT_EQ(places(), "outbox , drafts 1, inbox ") << c.why;
        ASSERT_EQ(notices_.size(), 1u) << c.why;
        EXPECT_THAT(notices_[0], HasSubstr("was taken back. You find it in “Drafts”.")) << c.why;
        expectNoNotes();
    }
}

TEST_F(TakingBack, ANoteOfAMessageThatHasLeftMeansNothing) {
    open();
    const auto id = append("1");
    leaveNote(id, noteFor("ada/Drafts", "1"));
    const auto outbox = mailbox(MailboxKind::Outbox);
    ASSERT_TRUE(engine_->library().claim(id, folder_ / "Mail/ada/.Outbox/claimed"));
    close();
    openAndStart();
    EXPECT_EQ(places(), "outbox , drafts 1, inbox ") << "a claim that sent nothing yet is given up first";
    expectNoNotes();

    const auto second = append("2");
    leaveNote(second, noteFor("ada/Drafts", "2"));
    walk();
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "2");
    notices_.clear();
    restart();
    EXPECT_EQ(places(), "outbox , drafts 1, inbox 2");
    EXPECT_THAT(notices_, IsEmpty());
    expectNoNotes();
}

TEST_F(TakingBack, WhatTheDiskRefusesDoesNotLeaveAndIsTriedAgain) {
    for (int step = 1;; ++step) {
        ASSERT_LT(step, 50);
        SCOPED_TRACE(step);
        bootOn(std::make_unique<TornDisk>());
        openAndStart();
        (void)mailbox(MailboxKind::Drafts);
        const auto id = append("1");
        torn_->failAt({.step = step, .fault = Fault::NoSpace, .lasting = true});
        const auto taken = takeBack(id);
        const bool isBeyondTheEnd = torn_->steps() < step;
        walk();
        EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "");
        torn_->failAt({});
        walk();
        loop_->advance(60);
        EXPECT_EQ(places(), "outbox , drafts 1, inbox ");
        EXPECT_EQ(notices_.size(), taken ? 0u : 1u) << "told when it was done after all";
        restart();
        EXPECT_EQ(places(), "outbox , drafts 1, inbox ");
        expectNoNotes();
        if (HasFailure() || isBeyondTheEnd) break;
    }
}

// The machine stops at any step of taking a message back, with a delivery of it waiting right behind.
TEST_F(TakingBack, PowerCutAtAnyStepLeavesItInOnePlace) {
    int cuts = 0, drafts = 0, sent = 0, both = 0, lost = 0;
    const int seeds = std::getenv("QUILLSTEAD_FULL_TESTS") ? 24 : 4;
    for (const char* target : {"ada", "ben"}) {
        bool isBeyondTheEnd = false;
        for (int step = 1; !isBeyondTheEnd; ++step) {
            ASSERT_LT(step, 100);
            for (int seed = 0; seed < seeds; ++seed) {
                SCOPED_TRACE(std::string(target) + ", step " + std::to_string(step) + ", seed " + std::to_string(seed));
                bootOn(std::make_unique<TornDisk>());
                openAndStart();
                (void)mailbox(MailboxKind::Drafts, target);
                const auto id = append("1");
                torn_->failAt({.step = step, .fault = Fault::PowerCut});
                const bool taken = takeBack(id, MailboxKind::Drafts, target).has_value();
                isBeyondTheEnd = torn_->steps() < step;
                walk();
                close();
                bootOn(torn_->afterPowerCut(seed == 0 ? std::nullopt : std::optional<unsigned>(step + seed)),
                       seed % 2 == 1);
                openAndStart();
                loop_->advance(4000);
                const auto inDrafts = messages(target, MailboxKind::Drafts).size();
                const auto inInbox = messages("ben", MailboxKind::Inbox).size();
                ++cuts;
                drafts += inDrafts == 1 && inInbox == 0;
                sent += inDrafts == 0 && inInbox == 1;
                both += inDrafts + inInbox > 1;
                lost += inDrafts + inInbox == 0;
                EXPECT_EQ(inDrafts + inInbox, 1u);
                EXPECT_TRUE(!taken || inDrafts == 1) << "once taken back, taken back for good";
                EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "");
                if (HasFailure()) return;
            }
        }
    }
    std::cout << "[ FIGURES  ] " << cuts << " power cuts: " << drafts << " among the drafts, " << sent << " sent, "
              << both << " both, " << lost << " lost\n";
}

}  // namespace
}  // namespace qs
