// The item in the status bar, its popover, the hints, and what stands above and between the messages, over a whole
// host.
#include "Application/EventMonitors.h"
#include "ComposeWindow.h"
#include "Core/QSPopoverController.h"
#include "DirectInboxTest.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/StatusItem.h"
#include "Models/View.h"
#include "PreferencesWindow.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using DirectInboxMenuTest = DirectInboxTest;

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
        EXPECT_EQ(hint()->preferredEdge(), 3);
        TearDown();
    }
    start();
}

TEST_F(DirectInboxMenuTest, AHintTellsHowMailboxesAreAdded) {
    start();
    defaults().removeObjectForKey("QSShowedDirectInboxAddMailboxButton");
    host_->advance(5);
    const auto hint = [&]() -> const Popover* {
        for (const Popover* popover : Popover::allShown())
            if (popover->content.text.starts_with("Here you can add more mailboxes")) return popover;
        return nullptr;
    };
    EXPECT_EQ(hint(), nullptr) << "not before the list was shown";
    open();
    host_->advance(5);
    ASSERT_NE(hint(), nullptr);
    EXPECT_EQ(hint()->content.text, "Here you can add more mailboxes to Direct Inbox.\nMoreover, mailboxes can be "
                                    "reordered and removed easily.");
    EXPECT_EQ(hint()->preferredEdge(), 3);
    EXPECT_EQ(hint()->positioningView()->anchor(), "popover:DirectInbox:addMailbox");
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
    const auto kept = menu().directInboxViewController();
    defaults().setObject(false, "QSShowMenuBar");
    menu().updateMenuVisibility();
    const auto rows = kept->mailboxMessages().size();
    receive("Rye");
    host_->settle();
    EXPECT_THAT(kept->mailboxMessages(), SizeIs(rows)) << "nobody can see it";
    restart();
    receive("Oats");
    EXPECT_EQ(menu().directInboxViewController(), nullptr) << "there is no list that could be computed";
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

TEST_F(DirectInboxMenuTest, AChangedSettingShowsInTheOpenList) {
    start();
    ASSERT_TRUE(host_->library().setFlags({receive("Old")}, {.seen = true}));
    host_->advance(1);
    receive("New");
    open();
    const auto change = [&](const char* key, const Value& value) {
        host_->application().preferences().show("Quillstead");
        host_->application().preferences().form()->control(key)->onChange(value);
        host_->settle();
    };
    const auto subjects = [] {
        std::vector<std::string> found;
        for (const ListRow& each : shown()->content.list->rows)
            if (each.kind == ListRow::Kind::Item) found.push_back(each.detail);
        return found;
    };
    ASSERT_THAT(subjects(), ElementsAre("New", "Old"));
    change("QSNumMessagesPerMailbox", 1);
    EXPECT_THAT(subjects(), ElementsAre("New"));
    change("QSNumMessagesPerMailbox", 9);
    EXPECT_THAT(subjects(), SizeIs(2));
    change("QSDirectInboxShowOnlyUnread", true);
    EXPECT_THAT(subjects(), ElementsAre("New"));
    change("QSMenuSnippetNumRows", 4);
    EXPECT_EQ(row()->height, 4 * 17 + 50);
    for (const auto& [mode, title] : {std::pair(1, "Archive"), std::pair(0, "Trash")}) {
        change("QSMenuCleanupMode", mode);
        EXPECT_THAT(titles(row()->trailing), ElementsAre(title));
    }
}

TEST_F(DirectInboxMenuTest, ARowHasRoomForFiveSmallPictures) {
    start();
    receive();
    open();
    auto* kept = inbox().rowWithIdentifier(rowID());
    kept->QSDirectInboxMessageFlagImages.clear();
    for (const char* name : {"a", "b", "c", "d", "e", "f"})
        kept->QSDirectInboxMessageFlagImages.push_back({name, "Any"});
    inbox().rowDidChange();
    std::vector<std::string> names;
    for (const ListIcon& icon : row()->icons)
        names.push_back(icon.image);
    EXPECT_THAT(names, ElementsAre("a", "b", "c", "d", "e"));
}

}  // namespace
}  // namespace qs
