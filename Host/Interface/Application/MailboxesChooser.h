// Fills a menu with all mailboxes, each the represented object of its item. Main thread.
#pragma once

#include <memory>

#include "Foundation/Runtime.h"

namespace qs {

class Mailbox;
class Menu;

class MailboxesChooser : public HostObject {
public:
    // Class "MailboxesChooser". The item of the selected mailbox is ticked; null: none.
    explicit MailboxesChooser(std::shared_ptr<Mailbox> selection);
    void setRootMenu(std::shared_ptr<Menu> menu) { menu_ = std::move(menu); }
    // Replaces what is in the menu: first all inboxes as one, where there are several, and a submenu for each account;
    // of a single account, its mailboxes.
    void refresh();

private:
    void add(Menu& menu, const std::shared_ptr<Mailbox>& mailbox) const;
    std::shared_ptr<Mailbox> selection_;
    std::shared_ptr<Menu> menu_;
};

}  // namespace qs
