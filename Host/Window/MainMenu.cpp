#include "MainMenu.h"

#include <initializer_list>

#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageFlagBits.h"
#include "Models/View.h"

namespace qs {
namespace {

// Command is the Ctrl key in the page. With it alone most letters belong to the browser, so that most of our keys are
// Ctrl+Alt+letter; none is one that browsers keep for themselves (Ctrl+N, T, W, ...).
constexpr unsigned kCommandOption = kCommandKey | kOptionKey;

struct Entry {
    const char* title;  // null: a separator
    const char* action = "";
    const char* key = "";
    unsigned modifiers = kCommandOption;
    int tag = 0;
};
constexpr Entry kSeparator{nullptr};

std::shared_ptr<Menu> makeMenu(const char* title, std::initializer_list<Entry> entries) {
    auto menu = std::make_shared<Menu>(title);
    for (const Entry& entry : entries) {
        if (!entry.title) {
            menu->addItem(MenuItem::separatorItem());
            continue;
        }
        const auto item = menu->addItemWithTitle(entry.title, entry.action, entry.key);
        item->setKeyEquivalentModifierMask(entry.modifiers);
        item->setTag(entry.tag);
    }
    return menu;
}

std::shared_ptr<MenuItem> addSubmenu(Menu& menu, const std::string& title, std::shared_ptr<Menu> submenu) {
    auto item = menu.addItemWithTitle(title, "", "");
    item->setSubmenu(std::move(submenu));
    return item;
}

std::shared_ptr<Menu> makeApplicationMenu() {
    return makeMenu("Quillstead Mail", {{"About Quillstead Mail", "orderFrontStandardAboutPanel:"},
                                        kSeparator,
                                        {"Preferences…", "showPreferencesPanel:", ",", kCommandKey},
                                        kSeparator,
                                        {"Quit Quillstead Mail", "terminate:", "q"}});
}

std::shared_ptr<Menu> makeFileMenu() {
    return makeMenu("File", {{"New Message", "showComposeWindow:", "n"},
                             {"New Mailbox…", "newMailbox:"},
                             {"Add Account…", "addAccount:"},
                             kSeparator,
                             {"Edit Message", "openMessages:", "o"},
                             {"Save Draft", "saveDocument:", "s", kCommandKey},
                             {"Attach File…", "insertFile:", "a", kCommandOption | kShiftKey},
                             {"Close", "performClose:", "w"},
                             kSeparator,
                             {"Print…", "printDocument:", "p"}});
}

// Cutting, copying and pasting text are the browser's.
std::shared_ptr<Menu> makeEditMenu() {
    return makeMenu("Edit", {{"Undo Move", "undoMove:", "z", kCommandKey},
                             {"Select All Messages", "selectAllMessages:"},
                             kSeparator,
                             {"Find…", "performFindPanelAction:", "f", kCommandKey | kShiftKey},
                             kSeparator,
                             {"Emoji & Symbols", "orderFrontCharacterPalette:", " ", kCommandOption}});
}

std::shared_ptr<Menu> makeViewMenu() {
    return makeMenu("View", {{"Next Message", "selectNextMessage:", "ArrowDown", kOptionKey},
                             {"Previous Message", "selectPreviousMessage:", "ArrowUp", kOptionKey},
                             {"Next Unread Message", "selectNextUnreadMessage:", "ArrowDown", kOptionKey | kShiftKey},
                             kSeparator,
                             {"Group by Conversation", "toggleGrouping:"},
                             {"Show Conversations", "toggleConversations:"},
                             {"Next in Conversation", "showNextInConversation:", "]", 0},
                             {"Previous in Conversation", "showPreviousInConversation:", "[", 0},
                             kSeparator,
                             {"Message Source", "showMessageSource:", "u"}});
}

std::shared_ptr<Menu> makeMailboxMenu() {
    auto menu = makeMenu("Mailbox", {{"Get New Mail", "checkNewMail:", "m"}, kSeparator});
    constexpr auto place = [](MailboxKind kind) { return static_cast<int>(kind); };
    addSubmenu(*menu, "Go to",
               makeMenu("Go to", {{"Inbox", "goToMailbox:", "1", kCommandOption, place(MailboxKind::Inbox)},
                                  {"Drafts", "goToMailbox:", "2", kCommandOption, place(MailboxKind::Drafts)},
                                  {"Outbox", "goToMailbox:", "3", kCommandOption, place(MailboxKind::Outbox)},
                                  {"Sent", "goToMailbox:", "4", kCommandOption, place(MailboxKind::Sent)},
                                  {"Archive", "goToMailbox:", "5", kCommandOption, place(MailboxKind::Archive)},
                                  {"Junk", "goToMailbox:", "6", kCommandOption, place(MailboxKind::Junk)},
                                  {"Trash", "goToMailbox:", "7", kCommandOption, place(MailboxKind::Trash)}}));
    menu->addItemWithTitle("Mark All as Read", "markAllMessagesAsRead:", "");
    menu->addItem(MenuItem::separatorItem());
    menu->addItemWithTitle("Rename or Move Mailbox…", "changeMailbox:", "");
    menu->addItemWithTitle("Delete Mailbox…", "deleteMailbox:", "");
    menu->addItem(MenuItem::separatorItem());
    menu->addItemWithTitle("Empty Trash…", "emptyTrash:", "");
    return menu;
}

std::shared_ptr<Menu> makeMessageMenu(const std::shared_ptr<Menu>& moveTo) {
    // "Send" comes first: plug-ins put their ways of sending below it.
    auto menu = makeMenu("Message", {{"Send", "send:", "Enter", kCommandKey},
                                     kSeparator,
                                     {"Reply", "replyMessage:", "r"},
                                     {"Reply All", "replyAllMessage:", "r", kCommandOption | kShiftKey},
                                     {"Forward", "forwardMessage:", "f"},
                                     kSeparator,
                                     {"Mark as Read", "markAsRead:", "k"},
                                     {"Mark as Unread", "markAsUnread:", "k", kCommandOption | kShiftKey}});
    addSubmenu(*menu, "Flag", makeFlagMenu());
    menu->addItem(MenuItem::separatorItem());
    menu->addItemWithTitle("Archive", "archiveMessages:", "a")->setKeyEquivalentModifierMask(kCommandOption);
    addSubmenu(*menu, "Move to", moveTo);
    menu->addItemWithTitle("Junk", "junkMessages:", "j")->setKeyEquivalentModifierMask(kCommandOption);
    menu->addItemWithTitle("Move to Trash", "deleteMessages:", "Delete")->setKeyEquivalentModifierMask(0);
    return menu;
}

void fillWithMailboxesOf(Menu& menu, const MailAccount& account, const TakesMessages& takes) {
    for (const auto& mailbox : account.mailboxes()) {
        if (!takes(*mailbox)) continue;
        menu.addItemWithTitle(mailbox->displayName(), "moveToMailbox:", "")->setRepresentedObject(mailbox);
    }
}

bool sameItems(const Menu& a, const Menu& b) {
    if (a.numberOfItems() != b.numberOfItems()) return false;
    for (std::size_t i = 0; i < a.numberOfItems(); ++i) {
        const MenuItem &x = *a.itemAtIndex(i), &y = *b.itemAtIndex(i);
        if (x.title() != y.title() || x.action() != y.action() || x.representedObject() != y.representedObject() ||
            !x.submenu() != !y.submenu() || (x.submenu() && !sameItems(*x.submenu(), *y.submenu())))
            return false;
    }
    return true;
}

void addKeyTexts(const Menu& menu, std::vector<std::string>& texts) {
    for (const auto& item : menu.itemArray()) {
        if (item->isHidden()) continue;
        if (!item->keyEquivalent().empty()) texts.push_back(keyText(*item) + "   " + item->title());
        if (item->submenu()) addKeyTexts(*item->submenu(), texts);
    }
}

}  // namespace

std::shared_ptr<Menu> makeFlagMenu() {
    auto menu = std::make_shared<Menu>("Flag");
    for (int colour = 0; !displayNameForFlagColor(colour).empty(); ++colour)
        menu->addItemWithTitle(displayNameForFlagColor(colour), "markAsFlagged:", "")->setTag(kFlagColourTag + colour);
    menu->addItem(MenuItem::separatorItem());
    menu->addItemWithTitle("Clear Flag", "clearFlags:", "");
    return menu;
}

void fillMoveToMenu(Menu& menu, const std::vector<std::shared_ptr<MailAccount>>& accounts, const TakesMessages& takes) {
    menu.removeAllItems();
    for (const auto& account : accounts) {
        if (accounts.size() == 1) return fillWithMailboxesOf(menu, *account, takes);
        auto submenu = std::make_shared<Menu>(account->displayName());
        fillWithMailboxesOf(*submenu, *account, takes);
        addSubmenu(menu, account->displayName(), submenu);
    }
}

std::shared_ptr<Menu> makeContextualMenu(const std::vector<std::shared_ptr<MailAccount>>& accounts,
                                         const TakesMessages& takes) {
    auto moveTo = std::make_shared<Menu>("Move to");
    fillMoveToMenu(*moveTo, accounts, takes);
    auto menu = makeMenu("", {{"Edit Message", "openMessages:"},
                              kSeparator,
                              {"Reply", "replyMessage:"},
                              {"Reply All", "replyAllMessage:"},
                              {"Forward", "forwardMessage:"},
                              kSeparator,
                              {"Mark as Read", "markAsRead:"},
                              {"Mark as Unread", "markAsUnread:"}});
    addSubmenu(*menu, "Flag", makeFlagMenu());
    menu->addItem(MenuItem::separatorItem());
    menu->addItemWithTitle("Archive", "archiveMessages:", "");
    addSubmenu(*menu, "Move to", moveTo);
    menu->addItemWithTitle("Junk", "junkMessages:", "");
    menu->addItemWithTitle("Move to Trash", "deleteMessages:", "");
    return menu;
}

MainMenu::MainMenu()
    : menu_(std::make_shared<Menu>("Main")),
      moveTo_(std::make_shared<Menu>("Move to")),
      windows_(makeMenu("Window", {{"Message Viewer", "showMessageViewer:", "0"},
                                   {"Next Window", "selectNextWindow:", "ArrowRight", kOptionKey | kShiftKey}})),
      fixedWindowItems_(windows_->numberOfItems()) {
    const std::shared_ptr<Menu> help = makeMenu("Help", {{"Keyboard Shortcuts", "showKeyboardShortcuts:"},
                                                         {"About This Program", "orderFrontStandardAboutPanel:"}});
    for (const auto& menu : {makeApplicationMenu(), makeFileMenu(), makeEditMenu(), makeViewMenu(), makeMailboxMenu(),
                             makeMessageMenu(moveTo_), windows_, help})
        addSubmenu(*menu_, menu->title(), menu);
}

void MainMenu::showMailboxes(const std::vector<std::shared_ptr<MailAccount>>& accounts, const TakesMessages& takes) {
    Menu wanted;
    fillMoveToMenu(wanted, accounts, takes);
    if (sameItems(wanted, *moveTo_)) return;
    moveTo_->removeAllItems();
    for (const auto& item : wanted.itemArray())
        moveTo_->addItem(item);
}

void MainMenu::showWindows(const std::vector<std::shared_ptr<Window>>& windows) {
    while (windows_->numberOfItems() > fixedWindowItems_)
        windows_->removeItem(windows_->itemAtIndex(fixedWindowItems_));
    if (!windows.empty()) windows_->addItem(MenuItem::separatorItem());
    for (const auto& window : windows)
        windows_->addItemWithTitle(window->title(), "makeKeyAndOrderFront:", "")->setRepresentedObject(window);
}

std::string keyText(const MenuItem& item) {
    std::string text;
    const unsigned mask = item.keyEquivalentModifierMask();
    if (mask & (kCommandKey | kControlKey)) text += "Ctrl+";
    if (mask & kOptionKey) text += "Alt+";
    if (mask & kShiftKey) text += "Shift+";
    const std::string& key = item.keyEquivalent();
    if (key == " ") return text + "Space";
    if (key.starts_with("Arrow")) return text + key.substr(5);
    if (key.size() == 1 && key[0] >= 'a' && key[0] <= 'z') return text + static_cast<char>(key[0] - 'a' + 'A');
    return text + key;
}

std::vector<std::string> keyTexts(const Menu& menu) {
    std::vector<std::string> texts;
    addKeyTexts(menu, texts);
    return texts;
}

}  // namespace qs
