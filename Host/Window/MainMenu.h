// The main menu as the host builds it, before plug-ins add theirs. Its shape is relied on: the Message menu stands at
// index 5 and Help last.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Models/Menu.h"

namespace qs {

class MailAccount;
class Mailbox;
class Window;

// Tags of the colours in the Flag menu: this plus the colour's number.
inline constexpr int kFlagColourTag = 200;

// Whether a person may put messages into the mailbox.
using TakesMessages = std::function<bool(Mailbox&)>;

class MainMenu {
public:
    static constexpr std::size_t kMessageMenuIndex = 5;

    MainMenu();
    const std::shared_ptr<Menu>& menu() const { return menu_; }
    // Fills the menu of places that messages can be moved to; nothing changes while those are the same.
    void showMailboxes(const std::vector<std::shared_ptr<MailAccount>>& accounts, const TakesMessages& takes);
    // Lists the compose windows below the fixed items of the Window menu.
    void showWindows(const std::vector<std::shared_ptr<Window>>& windows);

private:
    std::shared_ptr<Menu> menu_, moveTo_, windows_;
    std::size_t fixedWindowItems_ = 0;
};

// One for each colour and one that takes the flag away.
std::shared_ptr<Menu> makeFlagMenu();
// Items with the mailbox as represented object; below a submenu for each account when there are several.
void fillMoveToMenu(Menu& menu, const std::vector<std::shared_ptr<MailAccount>>& accounts, const TakesMessages& takes);
// The list's contextual menu before plug-ins see it.
std::shared_ptr<Menu> makeContextualMenu(const std::vector<std::shared_ptr<MailAccount>>& accounts,
                                         const TakesMessages& takes);
// That of a row in the list of mailboxes; the mailbox is each item's represented object.
std::shared_ptr<Menu> makeMailboxContextMenu(const std::shared_ptr<Mailbox>& mailbox);

// A key as people read it: "Ctrl+Alt+N".
std::string keyText(const MenuItem& item);
// All keys of a menu and its submenus, "Ctrl+Alt+N   New Message", in the order of the items.
std::vector<std::string> keyTexts(const Menu& menu);

}  // namespace qs
