// What the Direct Inbox lists: for each of the chosen mailboxes its heading and the newest messages of the last seven
// days. Reads the library; knows no views. Main thread.
#pragma once

#include <string>
#include <vector>

#include "DirectInbox/QSDirectInboxRow.h"
#include "Foundation/Date.h"

namespace qs {

struct DirectInboxChoice {
    bool showOnlyUnread = false;
    std::int64_t messagesPerMailbox = 0;  // below 0 as 0
};

// Mailboxes in the order of their persistent identifiers. One that does not exist is passed over.
std::vector<QSDirectInboxRow> directInboxRows(const std::vector<std::string>& mailboxIdentifiers,
                                              const DirectInboxChoice& choice, Date now);

}  // namespace qs
