// The viewer's menu of notes, what it opens, and the toolbar's item.
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Notes/NotesTestSupport.h"
#include "Viewer/MessageViewer.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using NotesMenuTest = NotesTest;

const Operation<std::shared_ptr<Menu>()> notesMenu{"notesMenu"};

std::vector<std::string> labelsOf(const Menu& menu) {
    std::vector<std::string> labels;
    for (const auto& item : menu.itemArray())
        labels.push_back(item->isSeparatorItem() ? "-" : item->title());
    return labels;
}

TEST_F(NotesMenuTest, TheMenuFollowsTheSelectionAndListsTheNotesOfIt) {
    startWithService();
    const auto one = add(simple("p@x.example")), other = add(simple("q@x.example"));
    const auto sent = note(plain_, "Sent"), waiting = note(plain_, "Waiting", true);
    for (const auto& each : {sent, waiting})
        each->setMessageID("p@x.example");
    sent->setRemoteURL("https://notes.example/1");
    waiting->setNotebook(nullptr);
    defaults().setObject(Dictionary{{"charactersIgnoringModifiers", "k"}, {"modifierFlags", 1 << 20}},
                         "QSCreateQuickNoteShortcut");
    const auto menu = notesMenu(host_->viewer());
    EXPECT_EQ(notesMenu(host_->viewer()), menu);

    select({one});
    menu->update();
    menu->update();
    EXPECT_THAT(labelsOf(*menu),
                ElementsAre("Notes", "Create quick note", "Create note", "-", "Associated Notes", "Sent", "Waiting"));
    EXPECT_EQ(menu->itemWithTag(4416)->keyEquivalent(), "k");
    EXPECT_EQ(menu->itemWithTag(4417)->isEnabled(), true);
    EXPECT_EQ(menu->itemAtIndex(5)->isEnabled(), true);
    EXPECT_EQ(menu->itemAtIndex(5)->imageName(), "plugin:OneNote_Icon");
    EXPECT_EQ(menu->itemAtIndex(5)->indentationLevel(), 1);
    EXPECT_EQ(menu->itemAtIndex(6)->isEnabled(), false);
    EXPECT_EQ(menu->itemAtIndex(6)->imageName(), "plugin:MessageListNoteTemplate");
    const auto item = menu->itemAtIndex(5);
    EXPECT_TRUE(host_->application().sendAction("openNote:", item->target().get(), item.get()));
    EXPECT_THAT(workspace_->openedUrls, ElementsAre("https://notes.example/1"));

    select({one, other});
    menu->update();
    EXPECT_EQ(menu->itemWithTag(4417)->isEnabled(), false);
    EXPECT_EQ(menu->itemWithTag(4416)->isEnabled(), true);
    select({});
    menu->update();
    EXPECT_EQ(menu->itemWithTag(4416)->isEnabled(), false);
    EXPECT_THAT(labelsOf(*menu), SizeIs(3));
    select({one});
    service_->markAsLinked(false);
    menu->update();
    EXPECT_THAT(labelsOf(*menu), SizeIs(3));
}

TEST_F(NotesMenuTest, ANoteOpensOnTheWebOrInItsServicesOwnProgramAndNowhereElse) {
    startWithService();
    worker(service_).linkScheme = "papers";
    const auto message = add(simple("p@x.example"));
    const auto sent = note(plain_, "Sent");
    sent->setMessageID("p@x.example");
    select({message});
    struct Case {
        const char *url, *opened;  // null: nothing
    };
    for (const Case& c : {Case{"https://notes.example/1", "https://notes.example/1"},
                          Case{"HTTP://notes.example", "HTTP://notes.example"},
                          Case{"papers:///view/1/s1/", "papers program: papers:///view/1/s1/"},
                          Case{"Papers:x", "papers program: Papers:x"}, Case{"file:///etc/passwd", nullptr},
                          Case{"mailto:a@example.org", nullptr}, Case{"javascript:alert(1)", nullptr},
                          Case{"evil://x", nullptr}, Case{"papers", nullptr}, Case{"", nullptr}}) {
        workspace_->openedUrls.clear();
        sent->setRemoteURL(c.url);
        const auto menu = notesMenu(host_->viewer());
        menu->update();
        const auto item = menu->itemAtIndex(5);
        EXPECT_TRUE(host_->application().sendAction("openNote:", item->target().get(), item.get()));
        EXPECT_EQ(workspace_->openedUrls, c.opened ? std::vector<std::string>{c.opened} : std::vector<std::string>())
            << c.url;
    }
    sent->setNotebook(nullptr);
    workspace_->openedUrls.clear();
    sent->setRemoteURL("papers:x");
    const auto menu = notesMenu(host_->viewer());
    menu->update();
    const auto item = menu->itemAtIndex(5);
    host_->application().sendAction("openNote:", item->target().get(), item.get());
    EXPECT_THAT(workspace_->openedUrls, IsEmpty()) << "nobody knows any more whose program that is";
    EXPECT_TRUE(log_.contains("A note can't be opened: "));
}

TEST_F(NotesMenuTest, TheToolbarHasNotesAtItsEnd) {
    startWithService();
    const auto toolbar = host_->viewer().toolbar();
    const auto allowed = toolbar_delegate::allowedItemIdentifiers(host_->viewer(), *toolbar);
    ASSERT_GE(allowed.size(), 3u);
    EXPECT_THAT(std::vector(allowed.end() - 3, allowed.end()), ElementsAre("Notes", "Snooze", "Tasks"));
    const auto identifiers = toolbar_delegate::defaultItemIdentifiers(host_->viewer(), *toolbar);
    EXPECT_EQ(identifiers.back(), "Notes");
    toolbar->insertItemWithItemIdentifier("Notes", 99);
    const auto item = toolbar->items().back();
    EXPECT_EQ(item->action, "createQuickNote:");
    EXPECT_EQ(item->toolTip, "Convert selected emails to notes.");
    EXPECT_EQ(item->menu, notesMenu(host_->viewer()));
    toolbar->validateVisibleItems();
    EXPECT_FALSE(item->enabled);
    select({add(simple("p@x.example"))});
    toolbar->validateVisibleItems();
    EXPECT_TRUE(item->enabled);
}

}  // namespace
}  // namespace qs
