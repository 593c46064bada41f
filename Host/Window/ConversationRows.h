// The list of a mailbox grouped by conversation: a row for each conversation and, below one that is open, a row for
// each of its messages. Reads no more of the mailbox than is looked at, however long it is. Main thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MailLibrary.h"

namespace qs {

// A message, or a conversation of several.
struct ListedRow {
    MessageSummary summary;  // of a conversation its newest message
    ConversationFacts facts;
    bool isConversation = false, isOpen = false;
    std::int64_t parent = 0;  // the row of the open conversation that a message stands below; 0 for none

    // A conversation keeps its row's number when mail comes into it.
    std::int64_t id() const { return isConversation ? -summary.conversation : summary.id; }
};

struct ListedPage {
    int total = 0;
    bool hasMore = false;
    std::vector<ListedRow> rows;
};

class ConversationRows {
public:
    static constexpr int kMostOpen = 50, kMostMessages = 500;  // open conversations, and messages shown of one

    ConversationRows(MailLibrary& library, std::string mailbox) : library_(library), mailbox_(std::move(mailbox)) {}

    ListedPage page(int offset, int limit);
    int conversations();  // how many there are
    // Nothing happens to a message that is alone in its conversation. Beyond kMostOpen the first opened one closes.
    void setOpen(std::int64_t conversation, bool open);
    bool isOpen(std::int64_t conversation) const;
    // Makes sure that the message has a row of its own: opens its conversation when it isn't alone in it.
    void reveal(std::int64_t message);
    void messagesChanged();
    // The numbers of all rows, from the top; at most `limit`.
    std::vector<std::int64_t> allIDs(int limit);

private:
    struct Open {
        std::int64_t conversation = 0;
        int row = 0;                           // among the conversations
        std::vector<MessageSummary> messages;  // newest first
    };
    // Where a row of the list stands: among the conversations, or below an open one.
    struct Place {
        int lead = 0;
        const Open* open = nullptr;  // the one that the row is a message of
        std::size_t message = 0;
    };
    Place placeOf(int row) const;
    void refresh();
    std::vector<ListedRow> leadRows(int first, int count);
    ListedRow messageRow(const MessageSummary& message, std::int64_t parent) const;

    MailLibrary& library_;
    const std::string mailbox_;
    std::vector<std::int64_t> wanted_;  // in the order in which they were opened
    std::vector<Open> open_;            // as they stand in the list
    bool isStale_ = true;
    int conversations_ = 0;
    ListPlace known_;
};

}  // namespace qs
