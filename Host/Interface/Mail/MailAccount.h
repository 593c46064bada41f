// A mail account of the user's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class Mailbox;
class Message;
class MessageHeaders;

class MailAccount : public HostObject {
public:
    using HostObject::HostObject;  // class "MFMailAccount"

    virtual std::string identifier() const = 0;
    virtual std::string displayName() const = 0;
    virtual std::string fullName() const = 0;
    virtual std::vector<std::string> emailAddresses() const = 0;  // bare; the first is the main one
    virtual std::vector<std::shared_ptr<Mailbox>> mailboxes() const = 0;

    virtual std::shared_ptr<Mailbox> inboxMailbox() const = 0;
    // Null when it doesn't exist and `create` is false.
    virtual std::shared_ptr<Mailbox> _outboxMailboxCreateIfNeeded(bool create) = 0;
    virtual std::shared_ptr<Mailbox> draftsMailboxCreateIfNeeded(bool create) = 0;
    std::shared_ptr<Mailbox> inboxMailboxCreateIfNeeded(bool create);
    virtual std::shared_ptr<Mailbox> mailboxOfKind(int kind, bool createIfNeeded) = 0;  // a MailboxKind but User

    // By its path in the account, "Lists/Ink". Null when there is none and `create` is false, and when it can't be
    // made.
    virtual std::shared_ptr<Mailbox> mailboxForRelativePath(std::string_view path, bool isFilesystemPath,
                                                            bool create) = 0;
    virtual bool isGmailAccount() const { return false; }
    virtual std::shared_ptr<Mailbox> gmailLabelWithName(std::string_view) { return nullptr; }  // null for none
    // Brings the account into step with its server soon.
    virtual void doRoutineCleanup() = 0;

    static std::vector<std::shared_ptr<MailAccount>> mailAccounts();
    // The account that the message was written with or came to, by its addresses; null for none.
    static std::shared_ptr<MailAccount> accountForHeaders(const MessageHeaders& headers, const Message* message);
    static std::shared_ptr<MailAccount> accountWithIdentifier(std::string_view identifier);
};

}  // namespace qs
