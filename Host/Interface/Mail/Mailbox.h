// A mailbox of an account.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Runtime.h"
#include "Mail/MessageCriterion.h"

namespace qs {

class MailAccount;

enum class MailboxKind { Inbox, Drafts, Outbox, Sent, Archive, Junk, Trash, User };

class Mailbox : public HostObject {
public:
    using HostObject::HostObject;  // class "MFMailbox"

    virtual std::string identifier() const = 0;   // stable: "<account>/<path>"
    virtual std::string displayName() const = 0;  // localised for the special ones
    virtual MailboxKind kind() const = 0;
    virtual std::shared_ptr<MailAccount> account() const = 0;
    virtual int unreadCount() const = 0;
    virtual int messageCount() const = 0;
    // What selects exactly this mailbox's messages.
    virtual MessageCriterion criterion() const = 0;
};

}  // namespace qs
