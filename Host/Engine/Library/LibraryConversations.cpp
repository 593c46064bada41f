// Conversations within one mailbox.
#include <algorithm>

#include "Library/IndexTables.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

constexpr int kLookedAt = 200;  // newest messages of a conversation, for what is told of it

// Under the number that it has by now.
std::int64_t presentNumber(Database& index, std::int64_t conversation) {
    for (std::int64_t next = conversation; next != 0;) {
        conversation = next;
        next = index.integer("SELECT joined FROM joined_conversations WHERE conversation = ?", {conversation});
    }
    return conversation;
}

void addOnce(std::vector<std::string>& list, std::string text) {
    if (!text.empty() && std::ranges::find(list, text) == list.end()) list.push_back(std::move(text));
}

ConversationFacts factsOf(Database& index, std::int64_t mailbox, std::int64_t conversation) {
    ConversationFacts facts;
    Query row = index.query("SELECT flags, attachments, sender, recipients FROM messages INDEXED BY by_conversation "
                            "WHERE conversation = ? AND mailbox = ? AND copy != 2 ORDER BY seq DESC LIMIT ?",
                            {conversation, mailbox, std::int64_t{kLookedAt}});
    for (; row.step(); ++facts.count) {
        const MessageFlags flags = unpackedFlags(static_cast<int>(row.integer(0)));
        if (!flags.seen) ++facts.unread;
        if (flags.flagged && !facts.isFlagged) facts.colour = flags.colour;
        facts.isFlagged = facts.isFlagged || flags.flagged;
        facts.attachments += static_cast<int>(row.integer(1));
        addOnce(facts.senders, row.text(2));
        addOnce(facts.recipients, row.text(3));
    }
    if (facts.count == kLookedAt)
        facts.count = static_cast<int>(
            index.integer("SELECT count(*) FROM messages WHERE conversation = ? AND mailbox = ? AND copy != 2",
                          {conversation, mailbox}));
    std::ranges::reverse(facts.senders);
    std::ranges::reverse(facts.recipients);
    return facts;
}

}  // namespace

std::vector<ConversationFacts> LibraryCore::conversationFacts(std::string_view mailbox,
                                                              const std::vector<std::int64_t>& conversations) {
    auto facts = reading([&](Database& index) {
        std::vector<ConversationFacts> found;
        for (const std::int64_t each : conversations)
            found.push_back(factsOf(index, mailboxNumber(mailbox), presentNumber(index, each)));
        return found;
    });
    facts.resize(conversations.size());
    return facts;
}

std::vector<MessageSummary> LibraryCore::conversationIn(std::string_view mailbox, std::int64_t conversation,
                                                        int limit) {
    return reading([&](Database& index) {
        std::vector<MessageSummary> found;
        Query row = index.query("SELECT " + tables::summaryColumns() +
                                    " FROM messages m INDEXED BY by_conversation WHERE m.conversation = ? AND "
                                    "m.mailbox = ? AND m.copy != 2 ORDER BY m.seq DESC LIMIT ?",
                                {presentNumber(index, conversation), mailboxNumber(mailbox), std::int64_t{limit}});
        while (row.step())
            found.push_back(tables::summaryFrom(row));
        return found;
    });
}

std::vector<std::int64_t> LibraryCore::idsInConversations(std::string_view mailbox,
                                                          const std::vector<std::int64_t>& conversations) {
    return reading([&](Database& index) {
        std::vector<std::int64_t> found;
        for (const std::int64_t each : conversations) {
            Query row = index.query("SELECT id FROM messages INDEXED BY by_conversation WHERE conversation = ? AND "
                                    "mailbox = ? AND copy != 2 ORDER BY seq DESC",
                                    {presentNumber(index, each), mailboxNumber(mailbox)});
            while (row.step())
                found.push_back(row.integer());
        }
        return found;
    });
}

int LibraryCore::conversationsBetween(std::string_view mailbox, std::int64_t above, std::int64_t below) {
    return reading([&](Database& index) {
        return static_cast<int>(above == 0 ? index.integer("SELECT count(*) FROM leading WHERE mailbox = ? "
                                                           "AND seq > ?",
                                                           {mailboxNumber(mailbox), below})
                                           : index.integer("SELECT count(*) FROM leading WHERE mailbox = ? "
                                                           "AND seq > ? AND seq < ?",
                                                           {mailboxNumber(mailbox), below, above}));
    });
}

std::vector<ConversationLead> LibraryCore::leads(std::string_view mailbox, int limit) {
    return reading([&](Database& index) {
        std::vector<ConversationLead> found;
        Query row =
            index.query("SELECT m.id, m.conversation, NOT EXISTS(SELECT 1 FROM messages o WHERE o.conversation = "
                        "m.conversation AND o.mailbox = m.mailbox AND o.seq < m.seq AND o.copy != 2) "
                        "FROM leading CROSS JOIN messages m ON m.seq = leading.seq WHERE leading.mailbox = ? "
                        "ORDER BY leading.seq DESC LIMIT ?",
                        {mailboxNumber(mailbox), std::int64_t{limit}});
        while (row.step())
            found.push_back({row.integer(0), row.integer(1), row.integer(2) != 0});
        return found;
    });
}

}  // namespace qs
