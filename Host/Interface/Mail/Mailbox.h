// A mailbox of an account.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Runtime.h"
#include "Mail/MessageCriterion.h"

namespace qs {

class LibraryStore;
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
    // What its messages are kept by; of a mailbox at an IMAP server of class "MFLibraryIMAPStore".
    virtual std::shared_ptr<LibraryStore> store() const = 0;
    // Whether it is a label of Gmail's, which a message can bear beside others, and no place of its own.
    virtual bool isValidGmailLabel() const { return false; }
};

// Names that stay the same as long as the mailbox is there, also through restarts.
namespace mailbox {
// OS minor 12 and up.
inline const Operation<std::string()> persistentID{"persistentID"};
inline const Operation<std::shared_ptr<Mailbox>(std::string identifier)> mailboxWithPersistentID{
    "mailboxWithPersistentID:"};  // class method; null for none
// OS minor 10 and 11.
inline const Operation<std::string()> persistentIdentifier{"persistentIdentifier"};
inline const Operation<std::shared_ptr<Mailbox>(std::string identifier)> mailboxWithPersistentIdentifier{
    "mailboxWithPersistentIdentifier:"};  // class method; null for none
}  // namespace mailbox

}  // namespace qs
