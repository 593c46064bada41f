#include "Library/ConversationLeads.h"

#include <algorithm>
#include <vector>

namespace qs::leads {

namespace {

// The newest one there; 0 for none.
std::int64_t newest(Database& index, std::int64_t conversation, std::int64_t mailbox) {
    return index.integer("SELECT max(seq) FROM messages WHERE conversation = ? AND mailbox = ? AND copy != 2",
                         {conversation, mailbox});
}

}  // namespace

void take(Database& index, std::int64_t conversation, std::int64_t mailbox, std::int64_t seq) {
    const std::int64_t former = newest(index, conversation, mailbox);
    if (former > seq) return;
    if (former != 0) index.run("UPDATE leading SET seq = ? WHERE mailbox = ? AND seq = ?", {seq, mailbox, former});
    // Of a message that is just being moved the former place has been given up already.
    if (former == 0 || index.changes() == 0)
        index.run("INSERT OR FAIL INTO leading(mailbox, seq) VALUES(?, ?)", {mailbox, seq});
}

bool giveUp(Database& index, std::int64_t mailbox, std::int64_t seq) {
    index.run("DELETE FROM leading WHERE mailbox = ? AND seq = ?", {mailbox, seq});
    return index.changes() != 0;
}

void passOn(Database& index, std::int64_t conversation, std::int64_t mailbox) {
    if (const std::int64_t next = newest(index, conversation, mailbox); next != 0)
        index.run("INSERT OR IGNORE INTO leading(mailbox, seq) VALUES(?, ?)", {mailbox, next});
}

void join(Database& index, std::int64_t conversation, std::int64_t into) {
    std::vector<std::int64_t> mailboxes;
    for (Query row = index.query("SELECT DISTINCT mailbox FROM messages WHERE conversation = ?", {conversation});
         row.step();)
        mailboxes.push_back(row.integer());
    for (const std::int64_t mailbox : mailboxes) {
        const std::int64_t one = newest(index, conversation, mailbox), other = newest(index, into, mailbox);
        if (other != 0) giveUp(index, mailbox, std::min(one, other));
    }
}

}  // namespace qs::leads
