// Messages that stand in several mailboxes, as at Gmail, where each label is a mailbox. They have a row in each; lists
// of more than one mailbox, and conversations, show one of them. Thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qs {

class Mailbox;
class MailLibrary;

class MessageCopies {
public:
    static MessageCopies& of(MailLibrary& library);  // lives as long as that
    virtual ~MessageCopies() = default;

    // The row under which a list of all mailboxes has the message by now: it may have been moved, or its copy there may
    // be gone. 0 when it is gone, or nobody remembers.
    virtual std::int64_t shownRow(std::int64_t id) = 0;
    // The row that the message has in that mailbox; 0 for none.
    virtual std::int64_t rowIn(const Mailbox& mailbox, std::int64_t id) = 0;
    // Of messages that lie in that mailbox under these names, it is known by now which ones they are. For whoever keeps
    // the account in step.
    virtual void numbersAreKnown(Mailbox& mailbox, const std::vector<std::string>& names) = 0;
};

}  // namespace qs
