// What the person does while the program is talking with the server.
#include "Imap/MeddledFixture.h"

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

}  // namespace qs
