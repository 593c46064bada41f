#include <map>
#include <set>

#include "MainMenu.h"
#include "Models/Toolbar.h"
#include "Responders.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MenuTest : public WindowJourney {
protected:
    std::vector<std::string> titles(const Menu& menu) {
        std::vector<std::string> found;
        for (const auto& each : menu.itemArray())
            found.push_back(each->isSeparatorItem() ? "-" : each->title());
        return found;
    }
    // A method of that action on a host class, which tells of its calls.
    void addAction(const char* className, const std::string& selector) {
        NSClassFromString(className)->add(Action(selector), [this, name = className + (" " + selector)](
                                                                HostObject&, HostObject*) { calls_.push_back(name); });
    }
    std::shared_ptr<MenuItem> newItem(const std::string& action) { return std::make_shared<MenuItem>("Item", action); }

    std::vector<std::string> calls_;
};

// A plug-in puts its items at fixed places of the Message and Help menus.
TEST_F(MenuTest, MenusStandWherePlugInsLookForThem) {
    start();
    const Menu& menu = *host->application().mainMenu();
    EXPECT_THAT(titles(menu),
                ElementsAre("Quillstead Mail", "File", "Edit", "View", "Mailbox", "Message", "Window", "Help"));
    const auto message = menu.itemAtIndex(5)->submenu();
    EXPECT_EQ(message->itemAtIndex(0)->title(), "Send");
    EXPECT_TRUE(message->itemAtIndex(1)->isSeparatorItem()) << "what is inserted at 1 stands below Send";
}

void collectKeys(const Menu& menu, std::map<std::string, std::vector<std::string>>& keys) {
    for (const auto& item : menu.itemArray()) {
        if (!item->keyEquivalent().empty()) keys[keyText(*item)].push_back(item->title());
        if (item->submenu()) collectKeys(*item->submenu(), keys);
    }
}

TEST_F(MenuTest, NoKeyIsTakenTwiceOrBelongsToTheBrowser) {
    start();
    std::map<std::string, std::vector<std::string>> keys;
    collectKeys(*host->application().mainMenu(), keys);
    EXPECT_GT(keys.size(), 20u);
    // Not Ctrl+Z: a browser has no use for it but in a text, and there the page leaves it to the text.
    const std::set<std::string> ofBrowsers = {
        "Ctrl+N",       "Ctrl+T",       "Ctrl+W",       "Ctrl+R",       "Ctrl+L",       "Ctrl+P",       "Ctrl+F",
        "Ctrl+D",       "Ctrl+H",       "Ctrl+J",       "Ctrl+U",       "Ctrl+O",       "Ctrl+A",       "Ctrl+C",
        "Ctrl+V",       "Ctrl+X",       "Ctrl+Y",       "Ctrl+B",       "Ctrl+I",       "Ctrl+K",       "Ctrl+Q",
        "Ctrl+Shift+N", "Ctrl+Shift+T", "Ctrl+Shift+W", "Ctrl+Shift+I", "Ctrl+Shift+J", "Ctrl+Shift+P", "Alt+Left",
        "Alt+Right",    "Alt+D",        "Alt+F",        "Alt+E"};
    for (const auto& [key, items] : keys) {
        EXPECT_EQ(items.size(), 1u) << key << " is of " << testing::PrintToString(items);
        EXPECT_FALSE(ofBrowsers.contains(key)) << key << " of " << items.front();
    }
    EXPECT_EQ(keys["Ctrl+Enter"], std::vector<std::string>{"Send"});
}

TEST_F(MenuTest, EveryItemHasAnActionThatSomebodyAnswers) {
    start();
    const auto ids = receive(1);
    const auto window = host->compose("ada", "ben@example.org", "Hello", "Text.");
    const auto check = [&](const Menu& menu, auto&& self) -> void {
        for (const auto& item : menu.itemArray()) {
            if (item->isSeparatorItem()) continue;
            if (item->submenu()) {
                self(*item->submenu(), self);
                continue;
            }
            const Selector action(item->action());
            const HostObject& application = host->application();
            EXPECT_TRUE(window->controller()->respondsTo(action) || host->viewer().respondsTo(action) ||
                        application.respondsTo(action))
                << menu.title() << " > " << item->title() << ": " << item->action();
        }
    };
    check(*host->application().mainMenu(), check);
    check(*host->application().contextualMenu(), check);
}

TEST_F(MenuTest, AnActionGoesToTheFirstOfTheChainThatAnswersIt) {
    start();
    const auto window = host->compose("ada", "ben@example.org", "Hello", "Text.");
    const std::string controller = window->controller()->isa().name();
    for (const char* selector : {"all:", "host:"}) {
        addAction("MailApp", selector);
        addAction("MessageViewer", selector);
    }
    addAction(controller.c_str(), "all:");
    addAction("MailApp", "application:");
    struct Case {
        const char* why;
        const char* front;
        const char* action;
        std::string answers;
    };
    const std::string compose = window->window()->identifier();
    for (const Case& c :
         {Case{"the compose window in front", compose.c_str(), "all:", controller + " all:"},
          Case{"what it does not know goes on to the viewer", compose.c_str(), "host:", "MessageViewer host:"},
          Case{"a compose window behind the viewer is not asked", "viewer", "all:", "MessageViewer all:"},
          Case{"the application comes last", compose.c_str(), "application:", "MailApp application:"}}) {
        calls_.clear();
        host->application().bringToFront(c.front);
        EXPECT_TRUE(host->application().choose(*newItem(c.action))) << c.why;
        EXPECT_THAT(calls_, ElementsAre(c.answers)) << c.why;
    }
    EXPECT_FALSE(host->application().isEnabled(*newItem("nobody:")));
    EXPECT_FALSE(host->application().choose(*newItem("nobody:")));
    EXPECT_FALSE(host->application().choose(*newItem("")));
    EXPECT_FALSE(host->application().choose(*MenuItem::separatorItem()));
}

TEST_F(MenuTest, ATargetAloneDecides) {
    start();
    ClassRegistry::current().define("Target");
    const auto target = std::make_shared<HostObject>("Target");
    addAction("MailApp", "act:");
    const auto act = newItem("act:");
    act->setTarget(target);
    EXPECT_FALSE(host->application().isEnabled(*act)) << "the chain does not stand in for a target";
    addAction("Target", "act:");
    EXPECT_TRUE(host->application().choose(*act));
    EXPECT_THAT(calls_, ElementsAre("Target act:"));
}

TEST_F(MenuTest, WhoeverAnswersTheActionSaysWhetherItCanBeDone) {
    start();
    addAction("MessageViewer", "snooze:");
    const Operation<bool(MenuItem&)> patched{"quillstead_validateMenuItem:"};
    Class& viewer = *NSClassFromString("MessageViewer");
    viewer.add(patched, [&](HostObject& self, MenuItem& item) {
        return item.tag() == 4420 ? !dynamic_cast<MainViewer&>(self).selectedIDs().empty() : patched(self, item);
    });
    ASSERT_TRUE(viewer.jr_swizzleMethod(message_viewer::validateMenuItem.selector(), patched.selector()));
    const auto snooze = newItem("snooze:");
    snooze->setTag(4420);
    EXPECT_FALSE(host->application().choose(*snooze));
    EXPECT_THAT(calls_, IsEmpty());
    select(receive(1));
    EXPECT_TRUE(host->application().choose(*snooze));
    EXPECT_TRUE(isEnabled("Message", "Reply")) << "the others are judged as before";
}

TEST_F(MenuTest, AFaultOfAnActionIsToldAndLeavesTheProgramRunning) {
    start();
    NSClassFromString("MailApp")->add(Action("fail:"),
                                      [](HostObject&, HostObject*) { throw std::runtime_error("out of ink"); });
    NSClassFromString("MessageViewer")->add(Operation<int()>("otherType:"), [](HostObject&) { return 1; });
    for (const char* selector : {"fail:", "otherType:"}) {
        host->application().choose(*newItem(selector));
        ASSERT_THAT(host->application().notices(), testing::SizeIs(1)) << selector;
        host->application().dismissNotice(host->application().notices()[0].id);
    }
    EXPECT_TRUE(log.contains("out of ink"));
}

TEST_F(MenuTest, ReplyingNeedsOneReceivedMessage) {
    start();
    const auto ids = receive(2);
    const auto draft = host->receive("ada", "Ada <ada@example.org>", "d", "Text.", MailboxKind::Drafts);
    struct Case {
        const char* why;
        std::vector<std::int64_t> selected;
        bool reply, edit, archive;
    };
    host->viewer().selectMailbox("");
    for (const Case& c : {Case{"nothing", {}, false, false, false}, Case{"one", {ids[0]}, true, false, true},
                          Case{"two", {ids[0], ids[1]}, false, false, true},
                          Case{"a draft is edited", {draft->libraryID()}, false, true, true}}) {
        select(c.selected);
        for (const char* title : {"Reply", "Reply All", "Forward"})
            EXPECT_EQ(isEnabled("Message", title), c.reply) << c.why << ": " << title;
        EXPECT_EQ(isEnabled("File", "Edit Message"), c.edit) << c.why;
        EXPECT_EQ(isEnabled("Message", "Archive"), c.archive) << c.why;
    }
    select({ids[0]});
    ASSERT_TRUE(choose("Message", "Reply"));
    ASSERT_THAT(host->application().composeWindows(), testing::SizeIs(1));
    EXPECT_EQ(host->application().composeWindows()[0]->subject(), "Re: 1");
}

TEST_F(MenuTest, WhatLiesInTheArchiveIsNotArchivedHoweverManyAreSelected) {
    start();
    std::vector<std::int64_t> ids;
    for (int i = 0; i < 51; ++i)
        ids.push_back(host->receive("ada", "Ben <ben@x.org>", "old", "Text.", MailboxKind::Archive)->libraryID());
    host->viewer().selectMailbox("ada/Archive");
    for (const std::size_t count : {1u, 50u, 51u}) {
        select({ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(count)});
        EXPECT_FALSE(isEnabled("Message", "Archive")) << count;
    }
}

TEST_F(MenuTest, TheContextualMenuIsOfferedToPlugIns) {
    start();
    select(receive(1));
    const Operation<void(Menu & menu)> patched{"quillstead_willPresentContextualMenu:"};
    Class& application = *NSClassFromString("MailApp");
    application.add(patched, [&](HostObject& self, Menu& menu) {
        patched(self, menu);
        EXPECT_GT(menu.numberOfItems(), 5u) << "the host's items come first";
        menu.insertItemWithTitle("Undo Send", "undoSend:", "", 1);
        if (menu.itemWithTag(4420)) throw std::runtime_error("twice");
        menu.addItemWithTitle("Snooze", "snooze:", "")->setTag(4420);
    });
    ASSERT_TRUE(application.jr_swizzleMethod(mail_app::willPresentContextualMenu.selector(), patched.selector()));
    for (int times : {1, 2}) {
        const auto menu = host->application().contextualMenu();
        EXPECT_EQ(menu->itemAtIndex(1)->title(), "Undo Send") << times;
        ASSERT_NE(menu->itemWithTag(4420), nullptr) << "a menu of its own each time";
        EXPECT_FALSE(host->application().isEnabled(*menu->itemWithTag(4420)));
        EXPECT_TRUE(host->application().isEnabled(*itemIn(*menu, "Reply")));
    }
}

TEST_F(MenuTest, TheViewersToolbarHasTheItemsThatPlugInsLookFor) {
    start();
    std::vector<std::string> identifiers;
    for (const auto& item : host->viewer().toolbar()->items())
        identifiers.push_back(item->itemIdentifier());
    EXPECT_THAT(identifiers, testing::IsSupersetOf({"replyMessage:", "archiveMessages:", "FlaggedStatus"}));
    const auto archive = [&] {
        host->viewer().toolbar()->validateVisibleItems();
        for (const auto& item : host->viewer().toolbar()->items())
            if (item->itemIdentifier() == "archiveMessages:") return item;
        return std::shared_ptr<ToolbarItem>();
    };
    EXPECT_FALSE(archive()->enabled);
    select(receive(1));
    ASSERT_TRUE(archive()->enabled);
    EXPECT_TRUE(host->application().sendAction(archive()->action, nullptr, archive().get()));
    host->settle();
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Archive), ElementsAre("1"));
}

}  // namespace
}  // namespace qs
