// What the rows' buttons, swipes and menus do about their messages, over a whole host.
#include "Application/HostInstances.h"
#include "ComposeWindow.h"
#include "DirectInboxTest.h"
#include "Foundation/FileSystem.h"
#include "MainViewer.h"
#include "Models/Menu.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminders/ReminderStore.h"
#include "Services/QSServicesManager.h"
#include "Support/AlertAnswers.h"
#include "Support/TemporaryFolder.h"
#include "Viewer/MessageViewer.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using DirectInboxActionsTest = DirectInboxTest;

// From now on, as long as this host lives.
void countViewers(int& made) {
    auto& make = HostInstances::current().singleMessageViewer;
    make = [&made, makeOne = make](const MessageRef& message) {
        ++made;
        return makeOne(message);
    };
}

TEST_F(DirectInboxActionsTest, AMessageIsMarkedReadByItsButtonAndBySwiping) {
    start();
    const auto id = receive();
    open();
    EXPECT_THAT(titles(row()->leading), ElementsAre("Mark as read"));
    EXPECT_EQ(row()->leading[0].colour, "#2AAEF5");
    int viewers = 0;
    countViewers(viewers);
    press(rowID(), row()->leading[0].id);
    EXPECT_EQ(viewers, 1);
    EXPECT_TRUE(flags(id).seen);
    EXPECT_FALSE(row()->isUnread);
    EXPECT_THAT(titles(row()->leading), ElementsAre("Mark as unread"));
    press(rowID(), "read");
    EXPECT_FALSE(flags(id).seen);
    EXPECT_TRUE(row()->isUnread);
    ASSERT_TRUE(host_->library().setFlags({id}, {.seen = true}));
    host_->settle();
    EXPECT_TRUE(row()->isUnread) << "the list is a snapshot";
}

TEST_F(DirectInboxActionsTest, SwipingAwayDoesWhatTheSettingSays) {
    struct Case {
        int mode;
        std::vector<std::string> titles;
        std::string colour;
        const char* where;
    };
    for (const Case& c : {Case{1, {"Archive"}, "#4272A3", "ada/Archive"}, Case{0, {"Trash"}, "", "ada/Trash"},
                          Case{2, {}, "", "ada/INBOX"}}) {
        start();
        defaults().setObject(c.mode, "QSMenuCleanupMode");
        receive();
        open();
        EXPECT_EQ(titles(row()->trailing), c.titles) << c.mode;
        int viewers = 0;
        countViewers(viewers);
        if (!c.titles.empty()) {
            EXPECT_EQ(row()->trailing[0].colour, c.colour) << c.mode;
            EXPECT_EQ(row()->trailing[0].isDestructive, c.mode == 0);
            defaults().setObject(1 - c.mode, "QSMenuCleanupMode");  // the row still says what it does
            press(rowID(), row()->trailing[0].id);
            EXPECT_EQ(viewers, 1) << c.mode;
        } else {
            press(rowID(), "react3");
        }
        EXPECT_EQ(row(), nullptr) << c.mode;
        EXPECT_THAT(places(), ElementsAre(c.where)) << c.mode;
        EXPECT_EQ(host_->viewer().lastMove().has_value(), !c.titles.empty()) << c.mode;
        host_->viewer().undoMove();
        EXPECT_THAT(places(), ElementsAre("ada/INBOX")) << c.mode;
        TearDown();
    }
    start();
}

TEST_F(DirectInboxActionsTest, AReactionAnswersAndClosesTheList) {
    struct Case {
        int tag;
        const char* subject;
        std::vector<std::string> to, cc;
    };
    const std::vector<std::string> mill{"The Mill <mill@example.org>"}, others{"cara@example.org"};
    for (const Case& c :
         {Case{0, "Re: Flour", mill, {}}, Case{1, "Re: Flour", mill, others}, Case{2, "Fwd: Flour", {}, {}}}) {
        start();
        host_->receive("ada", mill[0], "Flour", "Wheat.", MailboxKind::Inbox, "Cc: cara@example.org\r\n");
        open();
        press(rowID(), "react" + std::to_string(c.tag));
        host_->settle();
        EXPECT_EQ(shown(), nullptr) << c.tag;
        ASSERT_THAT(host_->application().composeWindows(), SizeIs(1)) << c.tag;
        const auto& written = *host_->application().composeWindows()[0];
        EXPECT_EQ(written.subject(), c.subject);
        EXPECT_EQ(written.to(), c.to) << c.tag;
        EXPECT_EQ(written.cc(), c.cc) << c.tag;
        TearDown();
    }
    start();
}

TEST_F(DirectInboxActionsTest, AReactionFilesTheMessageAndTheListFollows) {
    struct Case {
        const char* why;
        int tag;
        std::string where;
    };
    for (const Case& c :
         {Case{"archive", 3, "ada/Archive"}, Case{"junk", 4, "ada/Junk"}, Case{"snooze", 6, "ada/Snooze"}}) {
        start();
        receive();
        open();
        press(rowID(), "react" + std::to_string(c.tag));
        host_->settle();
        EXPECT_NE(shown(), nullptr) << c.why;
        EXPECT_THAT(host_->application().composeWindows(), IsEmpty()) << c.why;
        EXPECT_THAT(places(), ElementsAre(c.where)) << c.why;
        EXPECT_EQ(row(), nullptr) << c.why;
        TearDown();
    }
    start();
}

TEST_F(DirectInboxActionsTest, AReactionMakesATaskAndNeverCompletesIt) {
    TemporaryFolder folder;
    preparePlatform_ = [&](Platform& platform) {
        platform.reminders = ReminderStore::inFolder(folder / "Reminders", FileSystem::real(), false);
    };
    start();
    applications_->helperRuns = true;
    Platform::current().reminders->reload();
    QSServicesManager::sharedManager().syncLinkedServices();
    host_->settle();
    const auto id = receive();
    open();
    for (int presses = 1; presses <= 2; ++presses) {
        press(rowID(), "react7");
        host_->settle();
        const auto tasks = QSRemindersManager::sharedManager().remindersForMessageID(
            host_->library().summary(id)->messageID, kReminderTypeTask);
        ASSERT_THAT(tasks, SizeIs(1)) << presses;
        EXPECT_FALSE(tasks[0]->completed()) << presses;
        ASSERT_THAT(row()->icons, SizeIs(1)) << "the list was computed anew";
        EXPECT_EQ(row()->icons[0].image, "plugin:MessageListTaskUnchecked");
    }
    EXPECT_EQ(shown()->content.list->button(rowID(), "react7")->imageName, "plugin:RolloverTaskTemplate");
}

TEST_F(DirectInboxActionsTest, AReactionMakesAQuickNoteOfTheMessage) {
    start();
    const auto id = receive();
    open();
    ASSERT_TRUE(host_->library().setFlags({id}, {.seen = true}));
    AlertAnswers answers;
    press(rowID(), "react5");
    host_->settle();
    EXPECT_THAT(answers.seen, ElementsAre("No notes service available"));
    EXPECT_FALSE(row()->isUnread) << "the list was computed anew";
}

TEST_F(DirectInboxActionsTest, JunkThatStayedInTheInboxIsTakenBack) {
    start();
    const auto id = receive();
    ASSERT_TRUE(host_->library().setFlags({id}, {.junk = true}));
    open();
    EXPECT_EQ(shown()->content.list->button(rowID(), "react4")->title, "Not Junk");
    press(rowID(), "react4");
    host_->settle();
    EXPECT_FALSE(flags(id).junk);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
    EXPECT_EQ(shown()->content.list->button(rowID(), "react4")->title, "Junk");
}

TEST_F(DirectInboxActionsTest, TheFlagMenuSetsAColourAndTheSameAgainTakesItAway) {
    start();
    const auto id = receive();
    open();
    const auto choose = [&](std::size_t index) {
        const auto list = shown()->content.list;
        const auto flagMenu = list->button(row()->id, "flag")->menu;
        flagMenu->update();
        EXPECT_TRUE(host_->application().choose(*flagMenu->itemAtIndex(index)));
    };
    const auto flagMenu = shown()->content.list->button(rowID(), "flag")->menu;
    ASSERT_EQ(flagMenu->numberOfItems(), 9u);
    EXPECT_EQ(flagMenu->itemAtIndex(2)->title(), "Yellow");
    EXPECT_EQ(flagMenu->itemAtIndex(2)->imageColor(), "#F1C12C");
    EXPECT_EQ(flagMenu->itemAtIndex(8)->title(), "None");
    EXPECT_EQ(flagMenu->itemAtIndex(8)->tag(), 7);
    EXPECT_TRUE(shown()->content.list->button(rowID(), "flag")->isForPointedAt);
    choose(2);
    EXPECT_TRUE(flags(id).flagged);
    EXPECT_EQ(flags(id).colour, 2);
    EXPECT_EQ(shown()->content.list->button(rowID(), "flag")->colour, "#F1C12C");
    const auto after = shown()->content.list->button(rowID(), "flag")->menu;
    after->update();
    EXPECT_EQ(after->itemAtIndex(2)->state(), 1);
    EXPECT_EQ(after->itemAtIndex(8)->state(), 0);
    choose(4);
    EXPECT_EQ(flags(id).colour, 4);
    choose(4);
    EXPECT_FALSE(flags(id).flagged);
    EXPECT_EQ(shown()->content.list->button(rowID(), "flag")->imageName, "unflagged");
}

TEST_F(DirectInboxActionsTest, OpeningAMessageShowsItInTheViewer) {
    start();
    const auto id = receive();
    host_->viewer().selectMailbox("ben/INBOX");
    open();
    const ListRow opened = *row();
    opened.onOpen();
    host_->settle();
    EXPECT_EQ(shown(), nullptr);
    ASSERT_NE(host_->viewer().selectedMessage(), nullptr);
    EXPECT_EQ(host_->viewer().selectedMessage()->libraryID(), id);
    EXPECT_EQ(host_->viewer().mailbox()->identifier(), "ada/INBOX");
}

TEST_F(DirectInboxActionsTest, WithoutAViewerNothingIsDone) {
    start();
    receive();
    open();
    HostInstances::current().singleMessageViewer = nullptr;
    LogCapture log;
    const ListRow opened = *row();
    opened.onOpen();
    EXPECT_TRUE(log.contains("Could not create MessageViewer for message Flour"));
    press(rowID(), row()->trailing.at(0).id);
    press(rowID(), row()->leading.at(0).id);
    EXPECT_TRUE(row() && row()->isUnread);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
    EXPECT_NE(shown(), nullptr);
}

}  // namespace
}  // namespace qs
