// The viewer: which mailbox is shown, which rows of it the page looks at, what is selected.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "MailLibrary.h"
#include "MoveHistory.h"
#include "Viewer/MessageViewer.h"

namespace qs {

class BannerContainerViewController;

// One row as a list draws it: what the host knows, and what the exchangeable operations of the row answer.
struct ViewerRow {
    MessageSummary summary;
    std::string date, dateLong;  // as texts
    std::string correspondent;   // sender, or recipients in Sent, Drafts and Outbox
    struct Icon {
        std::string image, label;
    };
    std::vector<Icon> icons;
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
    virtual bool hasMore() const = 0;  // more than were counted; total() grows as rows further down are asked for
    virtual std::vector<ViewerRow> rows() = 0;  // of the window
    virtual const std::vector<std::int64_t>& selectedIDs() const = 0;
    // Selecting one unread message marks it read.
    virtual void selectIDs(std::vector<std::int64_t> ids) = 0;
    virtual MessageRef selectedMessage() const = 0;  // null unless exactly one is selected
    // The strips above the message; null until one was shown.
    virtual const std::shared_ptr<BannerContainerViewController>& banners() const = 0;
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
