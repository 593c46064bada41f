// Large messages whose way breaks off: nobody gets a part for the whole, and what has come need not come again.
#include <cstdlib>

#include "Imap/LargeMessageFixture.h"

namespace qs {

using ::testing::IsEmpty;

class LargeMessageCutTest : public LargeMessageTest {};

TEST_F(LargeMessageCutTest, ConnectionsThatBreakAnywhereLeaveNoPartOfThem) {
    std::map<std::string, std::string> all;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string subject = "big" + std::to_string(i);
        all[subject] = large(subject, (i + 1) * kPiece + i);
        server_->deliver("ada", all[subject], i % 2 == 0 ? "INBOX" : "Archive");
    }
    const std::size_t bytes = 10 * kPiece;
    const auto isWhole = [&](const std::string& content) {
        return std::any_of(all.begin(), all.end(), [&](const auto& each) { return each.second == content; });
    };
    std::mt19937 random(11);
    engine_->sync().start();
    for (int round = 0; round < (std::getenv("QUILLSTEAD_FULL_TESTS") ? 60 : 8); ++round) {
        proxy_->cutAfterReceived(1 + random() % bytes);
        if (random() % 2 == 0) {
            engine_.reset();
            EXPECT_LE(leftInTmp().size(), 1u) << "with which it goes on";
            open();
            start();
        } else {
            loop_->advance(4000);
        }
        for (const char* folder : {"new", "cur"})
            for (const auto& [name, content] : filesBelow(folder_ / "Mail/ada", folder))
                EXPECT_TRUE(isWhole(content)) << name << " in round " << round;
    }
    proxy_->letPass();
    loop_->advance(4000);
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"big0", "big2"});
    expectBoth("Archive", {"big1", "big3"});
    for (const auto& [subject, content] : all)
        EXPECT_TRUE(isHere(subject == "big0" || subject == "big2" ? "INBOX" : "Archive", subject, content)) << subject;
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageCutTest, GoOnWhereTheConnectionBroke) {
    deliverLarge("big", 20 * kPiece);
    deliverLarge("other", 10 * kPiece, "Trash");
    engine_->sync().start();
    for (int round = 0; round < 3; ++round) {
        proxy_->cutAfterReceived(6 * kPiece);
        loop_->advance(4000);
    }
    proxy_->letPass();
    loop_->advance(4000);
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_TRUE(isHere("INBOX", "big", large("big", 20 * kPiece)));
    EXPECT_TRUE(isHere("Trash", "other", large("other", 10 * kPiece)));
    // To the end of both, and the one that came in part with each break.
    EXPECT_LE(count("BODY.PEEK[]<"), 20 + 1 + 10 + 1 + 3);
    EXPECT_EQ(count("BODY.PEEK[]<0."), 2);
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageCutTest, GoOnAfterARestart) {
    struct Case {
        const char* why;
        std::function<void(const std::filesystem::path& part)> meanwhile;
        bool goesOn;
    };
    const std::string size = "RFC822.SIZE " + std::to_string(20 * kPiece);
    const std::vector<Case> cases{
        {"as it was", [](const auto&) {}, true},
        {"the part is gone", [](const auto& part) { std::filesystem::remove(part); }, false},
        {"the part is shorter", [](const auto& part) { std::filesystem::resize_file(part, kPiece / 2); }, false},
        {"the part is longer", [](const auto& part) { std::ofstream(part, std::ios::app) << "torn"; }, false},
        {"another size", [&](const auto&) { replaceInAnswers(size, size.substr(0, size.size() - 1) + "1"); }, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        deliverLarge("big", 20 * kPiece);
        engine_->sync().start();
        proxy_->cutAfterReceived(6 * kPiece);
        loop_->advance(1);
        engine_.reset();
        const auto left = leftInTmp();
        ASSERT_EQ(left.size(), 1u);
        EXPECT_GE(left.begin()->second.size(), 4 * kPiece);
        c.meanwhile(folder_ / "Mail/ada/tmp" / left.begin()->first);
        proxy_->letPass();
        const long begun = count("BODY.PEEK[]<0."), all = count("BODY.PEEK[]<");
        open();
        start();
        loop_->advance(4000);
        EXPECT_TRUE(isHere("INBOX", "big", large("big", 20 * kPiece)));
        EXPECT_EQ(count("BODY.PEEK[]<0.") - begun, c.goesOn ? 0 : 1);
        EXPECT_LE(count("BODY.PEEK[]<") - all, (c.goesOn ? 20 - 4 : 20) + 2);
        EXPECT_THAT(leftInTmp(), IsEmpty());
        erase("INBOX", "big");
        syncAll();
        expectBoth("INBOX", {});
        engine_.reset();
        open();
    }
}

TEST_F(LargeMessageCutTest, NoneIsKeptWithoutItsBeginning) {
    deliverLarge("big", 8 * kPiece);
    onceBefore("BODY.PEEK[]<" + std::to_string(5 * kPiece), [&] {
        for (const auto& [name, content] : leftInTmp())
            std::filesystem::remove(folder_ / "Mail/ada/tmp" / name);
    });
    start();
    EXPECT_THAT(filesBelow(folder_ / "Mail/ada", "cur"), IsEmpty());
    loop_->advance(4000);
    syncAll();
    EXPECT_TRUE(isHere("INBOX", "big", large("big", 8 * kPiece)));
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageCutTest, WhatHasBegunGoesWhenTheMessageDoes) {
    deliverLarge("big", 20 * kPiece);
    engine_->sync().start();
    proxy_->cutAfterReceived(6 * kPiece);
    loop_->advance(1);
    ASSERT_THAT(leftInTmp(), ::testing::SizeIs(1));
    const auto there = uid("INBOX", "big");
    ASSERT_TRUE(other().store(there, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other().expunge(there));
    proxy_->letPass();
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {});
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageCutTest, UploadsThatBreakAnywhereHappenOnce) {
    start();
    std::mt19937 random(5);
    for (int round = 0; round < (std::getenv("QUILLSTEAD_FULL_TESTS") ? 60 : 6); ++round) {
        SCOPED_TRACE(round);
        const std::string subject = "mine" + std::to_string(round);
        const std::size_t size = 3 * kPiece + random() % kPiece;
        ASSERT_TRUE(library().add(box("Drafts"), large(subject, size), {.seen = true}, loop_->now()));
        proxy_->cutAfterSent(1 + random() % (size + 1000));
        if (random() % 2 == 0)
            restart();
        else
            settle();
        proxy_->letPass();
        loop_->advance(4000);
        syncAll();
        EXPECT_EQ(uids("Drafts").count(subject), 1u);
        EXPECT_TRUE(contentThere("Drafts", subject) == large(subject, size));
        EXPECT_EQ(here("Drafts"), there("Drafts"));
    }
}

}  // namespace qs
