#include "Library/ConversationLeads.h"

#include <algorithm>
#include <vector>

namespace qs::leads {

namespace {

// The newest one there; 0 for none.
std::int64_t newest(Database& index, std::int64_t conversation, std::int64_t mailbox) {
    return index.integer("SELECT max(seq) FROM messages WHERE conversation = ? AND mailbox = ?",
                         {conversation, mailbox});
}

void set(Database& index, std::int64_t seq, bool isLead) {
    index.run("UPDATE messages SET leads = ? WHERE seq = ?", {std::int64_t{isLead}, seq});
}

}  // namespace

bool take(Database& index, std::int64_t conversation, std::int64_t mailbox, std::int64_t seq) {
    const std::int64_t former = newest(index, conversation, mailbox);
    if (former > seq) return false;
    if (former != 0) set(index, former, false);
    return true;
}

void passOn(Database& index, std::int64_t conversation, std::int64_t mailbox) {
    if (const std::int64_t next = newest(index, conversation, mailbox); next != 0) set(index, next, true);
}

void join(Database& index, std::int64_t conversation, std::int64_t into) {
    std::vector<std::int64_t> mailboxes;
    for (Query row = index.query("SELECT mailbox FROM messages WHERE conversation = ? AND leads = 1", {conversation});
         row.step();)
        mailboxes.push_back(row.integer());
    for (const std::int64_t mailbox : mailboxes) {
        const std::int64_t one = newest(index, conversation, mailbox), other = newest(index, into, mailbox);
        if (other != 0) set(index, std::min(one, other), false);
    }
}

}  // namespace qs::leads
