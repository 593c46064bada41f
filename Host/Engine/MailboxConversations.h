// The conversations of one mailbox, as a list grouped by them shows them. Of a conversation only the messages in that
// mailbox count here. A list of them is MailLibrary::page() with the criterion of grouped(): the newest message of
// each. Its length is known, and a page of it costs the same in a mailbox of any size. Thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Mail/MessageCriterion.h"

namespace qs {

struct MessageSummary;

struct ConversationFacts {
    int count = 0, unread = 0;
    bool isFlagged = false;
    int colour = 0;  // of the newest flagged one
    int attachments = 0;
    // As they stand in From, or in To, oldest first, each once; of a long conversation those of the newest messages.
    std::vector<std::string> senders, recipients;
};

// A row of the list, without what is shown of it.
struct ConversationLead {
    std::int64_t id = 0;  // of the message
    std::int64_t conversation = 0;
    bool isAlone = true;
};

class MailboxConversations {
public:
    virtual ~MailboxConversations() = default;

    static MessageCriterion grouped(std::string_view mailbox) {
        return MessageCriterion::allOf({MessageCriterion::with(MessageCriterion::Kind::InMailbox, std::string(mailbox)),
                                        MessageCriterion::with(MessageCriterion::Kind::LeadsConversation)});
    }
    // In the order of the argument.
    virtual std::vector<ConversationFacts> conversationFacts(std::string_view mailbox,
                                                             const std::vector<std::int64_t>& conversations) = 0;
    // Newest first, at most `limit`.
    virtual std::vector<MessageSummary> conversationIn(std::string_view mailbox, std::int64_t conversation,
                                                       int limit) = 0;
    // All messages of these conversations, newest first in each.
    virtual std::vector<std::int64_t> idsInConversations(std::string_view mailbox,
                                                         const std::vector<std::int64_t>& conversations) = 0;
    // How many conversations stand in the list between two places (MessageSummary::key), both left out; 0 for `above`:
    // from the top. Counts them one by one: some ten milliseconds for a million.
    virtual int conversationsBetween(std::string_view mailbox, std::int64_t above, std::int64_t below) = 0;
    // The list from its top.
    virtual std::vector<ConversationLead> leads(std::string_view mailbox, int limit) = 0;
};

}  // namespace qs
