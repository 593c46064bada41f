// The outboxes of all accounts as one mailbox, made anew whenever it is asked for.
#pragma once

#include <vector>

#include "Mail/Library.h"
#include "Mail/Mailbox.h"

namespace qs {

class CombinedOutbox : public Mailbox {
public:
    explicit CombinedOutbox(std::vector<std::shared_ptr<Mailbox>> outboxes);
    std::string identifier() const override { return "outbox"; }
    std::string displayName() const override { return "Outbox"; }
    MailboxKind kind() const override { return MailboxKind::Outbox; }
    std::shared_ptr<MailAccount> account() const override { return nullptr; }
    int unreadCount() const override;
    int messageCount() const override;
    MessageCriterion criterion() const override;
    std::shared_ptr<LibraryStore> store() const override { return nullptr; }

private:
    std::vector<std::shared_ptr<Mailbox>> outboxes_;
};

}  // namespace qs
