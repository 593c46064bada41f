// What snoozing asks of mailboxes, by the names that they have in the host's version. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Mail/Message.h"

namespace qs {

class Mailbox;

using Mailboxes = std::vector<std::shared_ptr<Mailbox>>;

std::string persistentIdentifierOf(const Mailbox& mailbox);
std::shared_ptr<Mailbox> mailboxWithPersistentIdentifier(const std::string& identifier);  // null for none

bool isSame(const Mailbox& one, const std::shared_ptr<Mailbox>& other);
bool bearsLabel(const Message& message, const std::shared_ptr<Mailbox>& label);

// Of a message in a Gmail account; an assertion failure for one of another store.
void changeGmailLabels(const MessageRef& message, Mailboxes added, Mailboxes removed);
// All copies of the message, through a viewer; what fails stays where it is.
void moveAllCopies(const MessageRef& message, const std::string& messageID, Mailbox& to);

}  // namespace qs
