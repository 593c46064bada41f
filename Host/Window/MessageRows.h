// The rows of the list that the page looks at: a window onto a mailbox or a search, read from the library when it is
// first asked for and kept until something changes. Main thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ConversationRows.h"
#include "MailLibrary.h"
#include "MainViewer.h"

namespace qs {

// Messages as rows, without small pictures, by way of row objects that plug-ins can change the answers of.
std::vector<ViewerRow> drawnRows(MailLibrary& library, const std::vector<MessageSummary>& messages,
                                 const std::vector<std::int64_t>& selected);

class MessageRows {
public:
    static constexpr int kMostRows = 500, kMostSelected = 20'000;
    static void defineClass();  // "MessageListObjectProxy"

    explicit MessageRows(MailLibrary& library) : library_(library) {}

    // From the first row on. `groupedMailbox`: that mailbox, grouped by conversation; else empty.
    void show(MessageCriterion criterion, std::string search, std::string groupedMailbox = {});
    void setWindow(int offset, int limit);
    const std::string& search() const { return search_; }
    int offset();
    int total();
    bool hasMore();  // a search that found more than it counted: the list grows as one goes on
    // As they are drawn.
    const std::vector<ViewerRow>& rows(const std::vector<std::int64_t>& selected);
    void messagesChanged();   // read again
    void selectionChanged();  // draw again

    // Rows by their numbers: that of the message or, below zero, of the conversation.
    // Counted from the list's first; nothing outside of the window. A message that has no row of its own stands in that
    // of its conversation.
    std::optional<int> rowOf(std::int64_t id);
    std::optional<std::int64_t> idAt(int row);  // in the window or not
    std::optional<ListedRow> at(int row);       // likewise
    std::vector<std::int64_t> allIDs();         // of the whole list, at most kMostSelected

    bool isGrouped() const { return grouped_.has_value(); }
    int conversations() { return grouped_ ? grouped_->conversations() : 0; }
    void setOpen(std::int64_t conversation, bool open);
    bool isOpen(std::int64_t conversation) const { return grouped_ && grouped_->isOpen(conversation); }
    void reveal(std::int64_t message);  // in a row of its own

private:
    const ListedPage& page();
    ListedPage read(int offset, int limit);
    void forgetPage();

    MailLibrary& library_;
    MessageCriterion criterion_ = MessageCriterion::anyOf({});
    std::string search_;
    std::optional<ConversationRows> grouped_;
    int offset_ = 0, limit_ = 100;
    std::optional<ListedPage> page_;
    ListPlace known_;  // from where the next page is read, as long as the messages stay the same
    std::optional<std::vector<ViewerRow>> rows_;
};

}  // namespace qs
