// The item in the status bar, its popover, and what the popover's buttons do, over a whole host.
#include "Application/EventMonitors.h"
#include "Application/HostInstances.h"
#include "ComposeWindow.h"
#include "Core/QSPopoverController.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Mail/MessageFlagBits.h"
#include "MainViewer.h"
#include "Models/Menu.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "Models/StatusItem.h"
#include "Models/View.h"
#include "PluginTest.h"
#include "PreferencesWindow.h"
#include "Viewer/MessageViewer.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DirectInboxMenuTest : public PluginTest {
protected:
    void start(TemporaryHostOptions options = {}) {
        options.start = {1'795'428'000};
        options.startDeliveries = false;
        startHost(std::move(options));
        defaults().setObject(true, "QSShowedDirectInboxAddMailboxButton");
    }
    QSDirectInboxMenuController& menu() { return delegate().menuController(); }
    QSDirectInboxViewController& inbox() { return *menu().directInboxViewController(); }
    void open() {
        menu().togglePopover(nullptr);
        host_->settle();
    }
    static const Popover* shown(const std::string& identifier = "DirectInbox") {
        for (const Popover* popover : Popover::allShown())
            if (popover->identifier() == identifier && popover->content.list) return popover;
        return nullptr;
    }
    // Keeps the list that it answers out of: what a press does may replace it.
    static void press(const std::string& row, const std::string& button) {
        ASSERT_NE(shown(), nullptr);
        const auto list = shown()->content.list;
        const RowButton* found = list->button(row, button);
        ASSERT_NE(found, nullptr) << row << " " << button;
        found->action();
    }
    // The row of the only message, or of the first.
    static const ListRow* row() {
        if (!shown()) return nullptr;
        for (const ListRow& each : shown()->content.list->rows)
            if (each.kind == ListRow::Kind::Item) return &each;
        return nullptr;
    }
    static std::string rowID() { return row() ? row()->id : ""; }
    static std::vector<std::string> titles(const std::vector<RowButton>& buttons) {
        std::vector<std::string> result;
        for (const RowButton& button : buttons)
            result.push_back(button.title);
        return result;
    }
    // Where the messages of that subject are.
    std::vector<std::string> places(const std::string& subject = "Flour") {
        std::vector<std::string> found;
        for (const auto& each :
             host_->library().messagesMatchingCriterion(MessageCriterion::allOf({}), 0, kSearchStore))
            if (each->subject() == subject) found.push_back(each->mailbox()->identifier());
        return found;
    }
    MessageFlags flags(std::int64_t id) { return host_->library().summary(id)->flags; }
    std::int64_t receive(const std::string& subject = "Flour") {
        return host_->receive("ada", "The Mill <mill@example.org>", subject, "Wheat.")->libraryID();
    }
};

TEST_F(DirectInboxMenuTest, TheItemComesAndGoesWithItsSetting) {
    start();
    const auto& items = StatusBar::systemStatusBar().statusItems();
    ASSERT_THAT(items, SizeIs(1));
    EXPECT_EQ(items[0]->imageName(), "plugin:Quillstead_menubar");
    open();
    ASSERT_NE(shown(), nullptr);
    EXPECT_EQ(shown()->positioningView(), menu().menubarView());
    EXPECT_EQ(shown()->preferredEdge(), 1);
    defaults().setObject(false, "QSShowMenuBar");
    menu().updateMenuVisibility();
    EXPECT_THAT(items, IsEmpty());
    EXPECT_EQ(shown(), nullptr) << "nothing is left that it could hang from";
    EXPECT_EQ(menu().menubarView(), nullptr);
    open();
    EXPECT_EQ(shown(), nullptr);
    menu().updateMenuVisibility();
    defaults().setObject(true, "QSShowMenuBar");
    menu().updateMenuVisibility();
    menu().updateMenuVisibility();
    EXPECT_THAT(items, SizeIs(1));
}

TEST_F(DirectInboxMenuTest, AHintIsShownUnderTheItemOnce) {
    struct Case {
        bool knewOldMenu;
        const char* text;
    };
    for (const Case& c :
         {Case{false, "Quillstead's 'Direct Inbox' comes"}, Case{true, "Quillstead's menu is now called"}}) {
        start();
        defaults().removeObjectForKey("QSShowedDirectInbox");
        if (c.knewOldMenu) defaults().setObject(true, "QSShowedMenubarIcon");
        const auto hint = [&]() -> const Popover* {
            for (const Popover* popover : Popover::allShown())
                if (popover->positioningView() == menu().menubarView()) return popover;
            return nullptr;
        };
        host_->advance(0.9);
        EXPECT_EQ(hint(), nullptr);
        host_->advance(3);
        ASSERT_NE(hint(), nullptr);
        EXPECT_THAT(hint()->content.text, HasSubstr(c.text));
        TearDown();
    }
    start();
}

TEST_F(DirectInboxMenuTest, ThePopoverClosesByTheItemAndByAClickElsewhere) {
    start();
    open();
    EXPECT_NE(shown(), nullptr);
    EXPECT_TRUE(menu().hasEventMonitor());
    open();
    EXPECT_EQ(shown(), nullptr);
    EXPECT_FALSE(menu().hasEventMonitor());
    open();
    host_->application().setActive(true);
    host_->application().setActive(false);
    EXPECT_EQ(shown(), nullptr);
    open();
    EventMonitors::current().dispatchElsewhere({.mask = kFlagsChangedMask});
    ASSERT_NE(shown(), nullptr) << "a key is no click";
    menu().directInboxPopover()->close();  // as the page does it
    open();
    EXPECT_NE(shown(), nullptr) << "the watch for clicks went with the popover";
}

TEST_F(DirectInboxMenuTest, NewMailShowsInTheOpenList) {
    start();
    open();
    EXPECT_EQ(row(), nullptr);
    receive("Flour");
    host_->settle();
    ASSERT_NE(row(), nullptr);
    EXPECT_EQ(row()->title, "The Mill");
    EXPECT_EQ(row()->detail, "Flour");
    EXPECT_EQ(row()->height, 2 * 17 + 50);
    defaults().setObject(false, "QSShowMenuBar");
    restart();
    receive("Oats");
    EXPECT_EQ(menu().directInboxViewController(), nullptr) << "there is no list that could be computed";
}

TEST_F(DirectInboxMenuTest, AMessageIsMarkedReadByItsButtonAndBySwiping) {
    start();
    const auto id = receive();
    open();
    EXPECT_THAT(titles(row()->leading), ElementsAre("Mark as read"));
    EXPECT_EQ(row()->leading[0].colour, "#2AAEF5");
    press(rowID(), row()->leading[0].id);
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

TEST_F(DirectInboxMenuTest, SwipingAwayDoesWhatTheSettingSays) {
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
        if (!c.titles.empty()) {
            EXPECT_EQ(row()->trailing[0].colour, c.colour) << c.mode;
            EXPECT_EQ(row()->trailing[0].isDestructive, c.mode == 0);
            press(rowID(), row()->trailing[0].id);
        } else {
            press(rowID(), "react3");
        }
        EXPECT_EQ(row(), nullptr) << c.mode;
        EXPECT_THAT(places(), ElementsAre(c.where)) << c.mode;
        TearDown();
    }
    start();
}

TEST_F(DirectInboxMenuTest, AReactionAnswersOrFilesAndSaysWhatHappened) {
    struct Case {
        const char* why;
        int tag;
        bool closes;
        std::string where;
        int windows;
    };
    for (const Case& c : {Case{"reply", 0, true, "ada/INBOX", 1}, Case{"reply to all", 1, true, "ada/INBOX", 1},
                          Case{"forward", 2, true, "ada/INBOX", 1}, Case{"archive", 3, false, "ada/Archive", 0},
                          Case{"junk", 4, false, "ada/Junk", 0}, Case{"snooze", 6, false, "ada/Snooze", 0}}) {
        start();
        receive();
        open();
        press(rowID(), "react" + std::to_string(c.tag));
        host_->settle();
        EXPECT_EQ(shown() == nullptr, c.closes) << c.why;
        EXPECT_EQ(host_->application().composeWindows().size(), c.windows) << c.why;
        EXPECT_THAT(places(), ElementsAre(c.where)) << c.why;
        EXPECT_EQ(row(), nullptr) << c.why;
        TearDown();
    }
    start();
}

TEST_F(DirectInboxMenuTest, JunkThatStayedInTheInboxIsTakenBack) {
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

TEST_F(DirectInboxMenuTest, TheFlagMenuSetsAColourAndTheSameAgainTakesItAway) {
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

TEST_F(DirectInboxMenuTest, OpeningAMessageShowsItInTheViewer) {
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

TEST_F(DirectInboxMenuTest, WithoutAViewerNothingIsDone) {
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

TEST_F(DirectInboxMenuTest, TheBarWritesChecksAndLeadsToThePreferences) {
    start();
    open();
    press("", "checkMail");
    EXPECT_NE(shown(), nullptr);
    press("", "compose");
    EXPECT_EQ(shown(), nullptr);
    EXPECT_THAT(host_->application().composeWindows(), SizeIs(1));
    open();
    press("", "preferences");
    EXPECT_EQ(shown(), nullptr);
    EXPECT_EQ(host_->application().preferences().selectedModule(), "Quillstead");
}

TEST_F(DirectInboxMenuTest, MailboxesAreChosenFromTheMenuAndPutInOrder) {
    start();
    host_->library().createMailbox("ben", "Lists").value();
    open();
    const auto menuOfMailboxes = shown()->content.list->button("", "addMailbox")->menu;
    ASSERT_GE(menuOfMailboxes->numberOfItems(), 3u);
    EXPECT_EQ(menuOfMailboxes->itemAtIndex(0)->state(), 1) << "all inboxes are in the list";
    const auto ofBen = menuOfMailboxes->itemAtIndex(2)->submenu();
    ASSERT_NE(ofBen, nullptr);
    const auto& items = ofBen->itemArray();
    const auto lists = std::ranges::find(items, "Lists", [](const auto& item) { return item->title(); });
    ASSERT_NE(lists, items.end());
    EXPECT_TRUE(host_->application().choose(**lists));
    host_->settle();
    EXPECT_THAT(inbox().activeMailboxIdentifiers(), ElementsAre("inbox", "ben/Lists"));
    press("ben/Lists", "up");
    host_->settle();
    EXPECT_THAT(inbox().activeMailboxIdentifiers(), ElementsAre("ben/Lists", "inbox"));
    EXPECT_EQ(shown()->content.list->button("ben/Lists", "up"), nullptr) << "it stands first";
    EXPECT_EQ(shown()->content.list->button("inbox", "down"), nullptr) << "it stands last";
    press("inbox", "hide");
    host_->settle();
    EXPECT_EQ(defaults().objectForKey("QSDirectInboxActiveIdentifiers"), Value(Array{"ben/Lists"}));
}

TEST_F(DirectInboxMenuTest, ARowHasRoomForFiveSmallPictures) {
    start();
    receive();
    open();
    auto* kept = inbox().rowWithIdentifier(rowID());
    kept->QSDirectInboxMessageFlagImages.assign(6, {"any", "Any"});
    kept->QSDirectInboxMessageFlagImages.back().image = "last";
    inbox().rowDidChange();
    EXPECT_THAT(row()->icons, SizeIs(5));
}

}  // namespace
}  // namespace qs
