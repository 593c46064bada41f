// The viewer: which mailbox is shown, which rows of it the page looks at, what is selected.
//
// In a list grouped by conversation a row is one, and selecting it means all of its messages in the mailbox. Wherever
// ids are given to the viewer, that of a conversation's row stands for these messages.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MailLibrary.h"
#include "Mime/Addresses.h"
#include "MoveHistory.h"
#include "Viewer/MessageListObjectProxy.h"
#include "Viewer/MessageViewer.h"

namespace qs {

class BannerContainerViewController;
class HeaderViewController;

// One row as a list draws it: what the host knows, and what the exchangeable operations of the row answer.
struct ViewerRow {
    MessageSummary summary;      // of a conversation its newest message, with what is so of any of them
    std::int64_t id = 0;         // the row's number: the message's or, below zero, the conversation's
    std::int64_t parent = 0;     // of a message below an open conversation, that row's number; else 0
    int count = 1;               // messages of a conversation; 1 for a message
    bool isOpen = false;         // a conversation whose messages stand below it
    std::string date, dateLong;  // as texts
    std::string correspondent;   // sender, or recipients in Sent, Drafts and Outbox
    MailAddress person;          // the first of them; without name and address when there is nobody
    std::vector<ListIcon> icons;
    std::string colour;  // of its ground, "#AABBCC"; empty: the usual one
};

class MainViewer : public MessageViewer {
public:
    using MessageViewer::MessageViewer;

    virtual void selectMailbox(std::string_view identifier) = 0;
    virtual void search(std::string_view text) = 0;  // empty: the mailbox as it is
    virtual const std::string& searchText() const = 0;
    virtual std::string title() const = 0;
    virtual void setWindowOfRows(int offset, int limit) = 0;  // limit at most 500
    virtual int offset() const = 0;
    virtual int total() const = 0;
    // How many conversations the list is grouped into; nothing when it isn't.
    virtual std::optional<int> conversations() const = 0;
    virtual void setOpen(std::int64_t row, bool open) = 0;  // a conversation's messages, below its row
    virtual bool hasMore() const = 0;  // more than were counted; total() grows as rows further down are asked for
    virtual std::vector<ViewerRow> rows() = 0;                         // of the window
    virtual const std::vector<std::int64_t>& selectedIDs() const = 0;  // of rows
    // Selecting one unread message marks it read.
    virtual void selectIDs(std::vector<std::int64_t> ids) = 0;
    // The one that is read: null unless exactly one row is selected. Of a conversation the first unread message, else
    // the newest, or what was chosen in it.
    virtual MessageRef selectedMessage() const = 0;
    // What the person has selected in the text of the message that is read, as markup of the page; empty for nothing.
    // What was told about another message than the one that is read now counts for nothing.
    virtual void setSelectedText(std::int64_t message, std::string html) = 0;
    virtual std::string selectedText() const = 0;
    // The strips above the message; null until one was shown.
    virtual const std::shared_ptr<BannerContainerViewController>& banners() const = 0;
    // The message's head; null likewise.
    virtual const std::shared_ptr<HeaderViewController>& header() const = 0;
    // The selected message and those that belong to it, oldest first; empty when there are no others, or they are not
    // to be shown.
    virtual std::vector<ViewerRow> conversation() = 0;
    // Selects a message of the conversation, also one that lies in another mailbox than the shown one.
    virtual void showInConversation(std::int64_t id) = 0;
    virtual void open(std::int64_t id) = 0;  // a double click; drafts and outbox mail open for editing
    virtual Result<void> setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) = 0;
    virtual Result<void> moveTo(const std::vector<std::int64_t>& ids, std::string_view mailbox) = 0;
    // The last move that can be taken back, and taking it back.
    virtual std::optional<MoveHistory::Last> lastMove() const = 0;
    virtual void undoMove() = 0;
};

}  // namespace qs
