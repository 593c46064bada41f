#include "Application/MailboxesChooser.h"

#include <utility>

#include "Application/MailApp.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Models/Menu.h"

namespace qs {

MailboxesChooser::MailboxesChooser(std::shared_ptr<Mailbox> selection)
    : HostObject("MailboxesChooser"), selection_(std::move(selection)) {}

void MailboxesChooser::add(Menu& menu, const std::shared_ptr<Mailbox>& mailbox) const {
    const auto item = menu.addItemWithTitle(mailbox->displayName(), "", "");
    item->setRepresentedObject(mailbox);
    if (selection_ && selection_->identifier() == mailbox->identifier()) item->setState(1);
}

void MailboxesChooser::refresh() {
    if (!menu_) return;
    menu_->removeAllItems();
    const auto accounts = MailAccount::mailAccounts();
    if (accounts.size() == 1) {
        for (const auto& mailbox : accounts.front()->mailboxes())
            add(*menu_, mailbox);
        return;
    }
    const auto application = MailApp::shared();
    if (const auto inbox = application ? application->inbox() : nullptr) add(*menu_, inbox);
    for (const auto& account : accounts) {
        const auto submenu = std::make_shared<Menu>(account->displayName());
        for (const auto& mailbox : account->mailboxes())
            add(*submenu, mailbox);
        menu_->addItemWithTitle(account->displayName(), "", "")->setSubmenu(submenu);
    }
}

}  // namespace qs
