// What the person does while the program is talking with the server.
#include <future>

#include "Imap/MeddledFixture.h"
#include "Support/Waiting.h"

namespace qs {

using SyncMeanwhileTest = MeddledTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(SyncMeanwhileTest, AMessageThatIsMovedWhileOthersAreFetchedIsNotLost) {
    deliver("moved");
    deliver("binned");
    start();
    deliver("new");
    onceBefore("BODY.PEEK[]", [&] {
        move("moved", "INBOX", "Archive");
        move("binned", "INBOX", "Trash");
    });
    syncAll();
    EXPECT_EQ(count("APPEND"), 0) << "it is at the server already";
    expectBoth("INBOX", {"new"});
    expectBoth("Archive", {"moved"});
    expectBoth("Trash", {"binned"});
    EXPECT_THAT(log_.messages(), ::testing::Not(::testing::Contains(::testing::HasSubstr("are missing here"))));
}

TEST_F(SyncMeanwhileTest, AFlagThatWasSetThereHoldsWhenTheMessageIsMovedHere) {
    deliver("moved");
    deliver("back");
    start();
    proxy_->goDown();
    move("moved", "INBOX", "Archive");
    move("back", "INBOX", "Archive");
    const auto there = uids("INBOX");
    ASSERT_TRUE(other().store({there.find("moved")->second, there.find("back")->second}, ImapChange::Add, {"\\Seen"}));
    proxy_->letPass();
    // It is put back between the look at the server and the look at what was moved.
    onceBefore("UID MOVE", [&] { move("back", "Archive", "INBOX"); });
    syncAll();
    syncAll();
    expectBoth("INBOX", {"back S"});
    expectBoth("Archive", {"moved S"});
}

TEST_F(SyncMeanwhileTest, AMailboxThatIsRenamedWhileTheListIsTakenUpKeepsItsMail) {
    for (const char* each : {"Travel", "Old"})
        ASSERT_TRUE(other().create(named(each)));
    deliver("itinerary", "Travel");
    start();
    ASSERT_TRUE(other().remove(named("Old")));
    ASSERT_TRUE(other().create(named("Unknown")));
    bool isRenamed = false;
    onceBefore("STATUS \"Unknown\"", [&] {
        flag("Travel", "itinerary", {.flagged = true});
        isRenamed = library().renameMailbox(box("Travel"), "Voyages").has_value();
    });
    syncAll();
    ASSERT_TRUE(isRenamed);
    syncAll();
    expectBoth("Voyages", {"itinerary F"});
    EXPECT_EQ(library().mailboxWithIdentifier("ada/Travel"), nullptr);
    EXPECT_FALSE(other().select(named("Travel")));
    EXPECT_EQ(count("APPEND"), 0);
}

TEST_F(SyncMeanwhileTest, WhatChangedDuringAPassThatFailsWaitsWithIt) {
    deliver("read");
    start();
    ASSERT_TRUE(other().store(uid("INBOX", "read"), ImapChange::Add, {"\\Seen"}));
    deliver("new");
    onceBefore("BODY.PEEK[]", [&] {
        // What the pass has changed so far is announced.
        for (int turns = 0; turns < 3; ++turns) {
            std::promise<void> taken;
            loop_->post([&] { taken.set_value(); });
            EXPECT_TRUE(isKept(taken));
        }
        proxy_->goDown();
    });
    engine_->sync().syncNow({});
    loop_->advance(0.5);
    ASSERT_EQ(status().state, SyncStatus::State::Waiting);
    proxy_->letPass();
    const long before = count("LOGIN");
    loop_->advance(1.9);
    EXPECT_EQ(count("LOGIN"), before) << "not before the delay is over";
    loop_->advance(5);
    expectBoth("INBOX", {"new", "read S"});
}

}  // namespace qs
