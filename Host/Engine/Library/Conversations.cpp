#include "Library/Conversations.h"

#include <algorithm>
#include <vector>

#include "Library/ConversationLeads.h"
#include "Library/IndexTables.h"

namespace qs {

namespace {

// 0 when nobody has named the id yet. What was joined since is followed to its end.
std::int64_t conversationOf(Database& index, std::int64_t id) {
    std::int64_t found = index.integer("SELECT conversation FROM conversation_ids WHERE id = ?", {id});
    for (std::int64_t next = found; next != 0;) {
        found = next;
        next = index.integer("SELECT joined FROM joined_conversations WHERE conversation = ?", {found});
    }
    return found;
}

void join(Database& index, std::int64_t conversation, std::int64_t into) {
    leads::join(index, conversation, into);
    index.run("INSERT INTO joined_conversations(conversation, joined) VALUES(?, ?)", {conversation, into});
    index.run("UPDATE OR FAIL messages SET conversation = ? WHERE conversation = ?", {into, conversation});
}

}  // namespace

std::int64_t takeIntoConversation(Database& index, const MessageFacts& facts, std::int64_t own) {
    std::vector<std::int64_t> ids, unknown;
    for (const std::string& id : facts.references)
        ids.push_back(conversationNumber(id));
    if (!facts.messageID.empty()) ids.push_back(conversationNumber(facts.messageID));
    std::int64_t conversation = 0;
    for (const std::int64_t id : ids) {
        const std::int64_t known = conversationOf(index, id);
        if (known == 0 && std::find(unknown.begin(), unknown.end(), id) == unknown.end()) unknown.push_back(id);
        if (conversation == 0) conversation = known;
        if (known != 0 && known != conversation) join(index, known, conversation);
    }
    if (conversation == 0) conversation = ids.empty() ? own : ids.front();
    for (const std::int64_t id : unknown)
        index.run("INSERT INTO conversation_ids(id, conversation) VALUES(?, ?)", {id, conversation});
    return conversation;
}

}  // namespace qs
