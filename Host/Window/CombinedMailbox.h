// Mailboxes of all accounts as one: the outboxes, the inboxes. Made anew whenever it is asked for.
#pragma once

#include <vector>

#include "Mail/Library.h"
#include "Mail/Mailbox.h"

namespace qs {

class CombinedMailbox : public Mailbox {
public:
    CombinedMailbox(std::string identifier, std::string displayName, MailboxKind kind,
                    std::vector<std::shared_ptr<Mailbox>> parts);
    std::string identifier() const override { return identifier_; }
    std::string displayName() const override { return displayName_; }
    MailboxKind kind() const override { return kind_; }
    std::shared_ptr<MailAccount> account() const override { return nullptr; }
    int unreadCount() const override;
    int messageCount() const override;
    MessageCriterion criterion() const override;
    std::shared_ptr<LibraryStore> store() const override { return nullptr; }

private:
    std::string identifier_, displayName_;
    MailboxKind kind_;
    std::vector<std::shared_ptr<Mailbox>> parts_;
};

}  // namespace qs
