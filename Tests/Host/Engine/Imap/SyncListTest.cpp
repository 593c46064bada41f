// Messages that are listed by their headers while they themselves are still at the server.
#include <random>

#include "Imap/ListedFixture.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;

using SyncListTest = ListedTest;

TEST_F(SyncListTest, ShowsCountsAndFindsWhatIsNotFetchedYet) {
    startAndStopBehindHeaders();
    EXPECT_EQ(here("INBOX"), there("INBOX"));
    EXPECT_EQ(box("INBOX").unreadCount(), kCount / 2);
    EXPECT_EQ(library().page({}, "m107", 0, 10).rows.size(), 1u);
    EXPECT_EQ(library().page({}, "from:grace", 0, 100).total, kCount);
    const auto shown = library().messageWithID(id("INBOX", subject(4)));
    EXPECT_EQ(shown->from(), "Grace Hopper <grace@example.net>");
    const auto number = shown->libraryID();
    // A look at the folder, where no file is, takes nothing off the list.
    library().rescan("ada/INBOX");
    EXPECT_EQ(here("INBOX").size(), static_cast<std::size_t>(kCount));
    finish();
    expectAllFetched();
    EXPECT_EQ(id("INBOX", subject(4)), number);
    EXPECT_EQ(shown->messageSize(), library().content(number)->size());
    EXPECT_NE(shown->snippet(), "");
}

TEST_F(SyncListTest, FetchesAtOnceWhatSomebodyOpens) {
    startAndStopBehindHeaders();
    const auto wanted = id("INBOX", subject(0));
    const auto content = library().content(wanted);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.error().code, kMailLibraryNotFetched);
    loop_->advance(11);  // it was tried in vain
    proxy_->letPass();
    server_->restart();
    EXPECT_FALSE(library().content(wanted));
    loop_->runUntilIdle();
    EXPECT_THAT(fetched(), ElementsAre(subject(0))) << "past those that wait";
    EXPECT_EQ(library().content(wanted)->size(), mail(subject(0)).size() + 19'994);
    // Moved on before its turn came, it must not come again.
    move(subject(0), "INBOX", "Archive");
    finish();
    expectAllFetched();
    EXPECT_THAT(here("Archive"), ElementsAre(subject(0) + " S"));
}

TEST_F(SyncListTest, WhatIsDoneToListedMessagesHoldsAndReachesTheServer) {
    startAndStopBehindHeaders();
    flag("INBOX", subject(1), {.seen = true, .flagged = true});
    flag("INBOX", subject(2), {.seen = false});
    move(subject(3), "INBOX", "Archive");
    move(subject(4), "INBOX", "Archive");
    move(subject(4), "Archive", "Trash");
    flag("Archive", subject(3), {.answered = true});
    move(subject(5), "INBOX", "Archive");
    erase("Archive", subject(5));
    erase("INBOX", subject(6));
    erased_ = {5, 6};
    const Lines inbox = here("INBOX"), archive = here("Archive"), trash = here("Trash");
    EXPECT_THAT(inbox, Contains(subject(1) + " SF"));
    EXPECT_THAT(inbox, Contains(subject(2)));
    EXPECT_THAT(archive, ElementsAre(subject(3) + " R"));
    EXPECT_THAT(trash, ElementsAre(subject(4) + " S"));
    // The index can be lost meanwhile, and another client goes on.
    engine_.reset();
    forgetIndex();
    ASSERT_TRUE(other().store(uid("INBOX", subject(1)), ImapChange::Add, {"\\Answered"}));
    open();
    proxy_->cutAfterReceived(25'000);
    start();
    proxy_->goDown();
    EXPECT_THAT(here("INBOX"), Contains(subject(1) + " SFR"));
    EXPECT_EQ(here("Archive"), archive);
    EXPECT_EQ(here("Trash"), trash);
    finish();
    expectAllFetched();
    EXPECT_THAT(here("INBOX"), Contains(subject(1) + " SFR"));
    EXPECT_THAT(here("INBOX"), Contains(subject(2)));
    EXPECT_EQ(here("Archive"), archive);
    EXPECT_EQ(here("Trash"), trash);
}

TEST_F(SyncListTest, FollowsTheServerWhileTheyWait) {
    startAndStopBehindHeaders();
    ASSERT_TRUE(other().store(uid("INBOX", subject(1)), ImapChange::Add, {"\\Flagged"}));
    const auto gone = uid("INBOX", subject(2));
    ASSERT_TRUE(other().store(gone, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other().expunge(gone));
    erased_ = {2};
    proxy_->cutAfterReceived(25'000);
    loop_->advance(100);
    proxy_->goDown();
    EXPECT_EQ(here("INBOX"), there("INBOX"));
    finish();
    expectAllFetched();
}

TEST_F(SyncListTest, LeavesWhatWouldNeedTheMessage) {
    startAndStopBehindHeaders();
    AccountRecord second = record();
    second.identifier = "ben";
    second.incoming.reset();
    second.kind = AccountKind::Local;
    keepAccount(second);
    const auto listed = id("INBOX", subject(1));
    const auto moved = library().move({listed}, *library().mailboxWithIdentifier("ben/INBOX"));
    ASSERT_FALSE(moved);
    EXPECT_EQ(moved.error().code, kMailLibraryNotFetched);
    EXPECT_FALSE(library().claim(listed, folder_ / "claimed"));
    EXPECT_EQ(here("INBOX").size(), static_cast<std::size_t>(kCount));
    finish();
    expectAllFetched();
}

TEST_F(SyncListTest, CutsAnywhereLoseAndDoubleNothing) {
    std::mt19937 random(20'261'123);
    deliverMany();
    proxy_->cutAfterReceived(6'000);
    engine_->sync().start();
    for (int round = 0; round < 12; ++round) {
        settle();
        // What can be seen just now gets flags, is moved, is erased.
        const auto rows = library().page(box("INBOX").criterion(), {}, 0, 1000).rows;
        if (!rows.empty()) {
            const MessageSummary& row = rows[random() % rows.size()];
            switch (random() % 3) {
            case 0: EXPECT_TRUE(library().setFlags({row.id}, {.seen = true, .flagged = true})); break;
            case 1: EXPECT_TRUE(library().move({row.id}, box(random() % 2 == 0 ? "Archive" : "Trash"))); break;
            default: EXPECT_TRUE(library().erase({row.id})); erased_.insert(std::stoi(row.subject.substr(1)) - 100);
            }
            (void)library().content(rows.front().id);
        }
        disturb(random);
    }
    proxy_->letPass();
    loop_->advance(4000);
    finish();
    expectAllFetched();
}

}  // namespace qs
