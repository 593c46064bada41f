// The viewer as it is implemented; private to this folder. Its state and selection are in ViewerObject.cpp, what its
// class answers in ViewerClass.cpp, its toolbar in ViewerToolbar.cpp, moves in ViewerMoves.cpp, other actions in
// ViewerActions.cpp, conversations in ViewerConversation.cpp, what rows of the list are selected in
// ViewerSelection.cpp.
#pragma once

#include "Foundation/RunLoop.h"
#include "MainViewer.h"
#include "MessageRows.h"
#include "MoveHistory.h"

namespace qs {

class MailApplicationObject;
class ViewingPaneViewController;

class ViewerObject : public MainViewer {
public:
    static void defineClasses();  // "MessageViewer", "SingleMessageViewer" and the row objects

    explicit ViewerObject(MailApplicationObject& application, std::string_view className = "MessageViewer");
    void begin();  // makes what needs a shared pointer to this object, and shows the first inbox
    // The same for a SingleMessageViewer: the message is shown and selected. Its window is not drawn by any page. What
    // its actions move is taken back in the person's viewer.
    void beginWith(const Message& message, const ViewerObject& personsViewer);
    void makeToolbar();  // asks for its items, of plug-ins as well
    void end();
    void libraryDidChange();

    // MainViewer
    void selectMailbox(std::string_view identifier) override;
    void search(std::string_view text) override;
    const std::string& searchText() const override { return rows_.search(); }
    std::string title() const override;
    void setWindowOfRows(int offset, int limit) override;
    int offset() const override { return rows_.offset(); }
    int total() const override { return rows_.total(); }
    std::optional<int> conversations() const override;
    void setOpen(std::int64_t row, bool open) override;
    bool hasMore() const override { return rows_.hasMore(); }
    std::vector<ViewerRow> rows() override { return rows_.rows(chosen_); }
    const std::vector<std::int64_t>& selectedIDs() const override { return chosen_; }
    void selectIDs(std::vector<std::int64_t> ids) override;
    MessageRef selectedMessage() const override;
    void setSelectedText(std::int64_t message, std::string html) override {
        selectedText_ = {message, std::move(html)};
    }
    std::string selectedText() const override {
        return selectedText_.first == readID() ? selectedText_.second : std::string();
    }
    const std::shared_ptr<BannerContainerViewController>& banners() const override { return banners_; }
    const std::shared_ptr<HeaderViewController>& header() const override { return header_; }
    std::vector<ViewerRow> conversation() override;
    void showInConversation(std::int64_t id) override;
    void open(std::int64_t id) override;
    Result<void> setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) override;
    Result<void> moveTo(const std::vector<std::int64_t>& ids, std::string_view mailbox) override;
    std::optional<MoveHistory::Last> lastMove() const override { return moves_->last(); }
    void undoMove() override;
    // MessageViewer
    std::shared_ptr<Window> window() const override { return window_; }
    std::shared_ptr<Toolbar> toolbar() const override;
    MessageList selectedMessages() const override;
    MessageList messagesTargetedByAction(std::string_view action) const override;
    std::shared_ptr<Mailbox> mailbox() const override;
    Result<void> transferMessages(const MessageList& messages, Mailbox& toMailbox, TransferOptions options) override;
    void sendForDraft(HostObject* sender, bool forDraft, MessageRef actualMessage) override;

    // The table, as a plug-in knows it.
    std::shared_ptr<TableViewManager> tableManager() const { return tableManager_; }
    std::shared_ptr<MessageListController> messageListController() const { return listController_; }  // OS minor 11
    std::shared_ptr<ViewingPaneViewController> viewingPane() const { return pane_; }
    int selectedRow();
    void reloadData();
    void selectRow(int row, bool byExtendingSelection);

    // Actions; `sender` is a menu item, a toolbar item or null.
    void replyTo(int composeMode);
    void openSelected();
    void mark(const FlagChange& change);
    void flag(HostObject* sender);
    void flagLike(HostObject* sender);  // in the colour that is the menu item's tag
    void archive();
    void junk();
    void markAsJunk(bool isJunk);
    void show();
    void remove();
    void moveToRepresented(HostObject* sender);
    void emptyTrash();
    void selectAll();
    void selectNeighbour(int step, bool unreadOnly);
    void goToMailbox(HostObject* sender);
    void markAllRead();
    void showSource();
    void toggleConversations();
    void toggleGrouping();
    void showNeighbourInConversation(int step);  // 1: the next newer one
    // Whether an action can be done now; also gives the menu item the title that fits. True for actions of others.
    bool isValid(const std::string& action, MenuItem* item);

private:
    struct Target {
        MessageList messages;
        std::shared_ptr<Mailbox> mailbox;
    };
    std::vector<Target> targetsOfKind(const MessageList& messages, MailboxKind kind);
    Result<void> transfer(const std::vector<Target>& targets, const std::string& undoName, bool allowUndo,
                          std::optional<bool> marksJunk = {});
    void makeTable();
    Result<void> moveOrTakeBack(std::vector<std::int64_t> ids, Mailbox& to);
    Result<void> copyTo(const MessageList& messages, Mailbox& toMailbox);
    void moveSelection(MailboxKind kind, const std::string& undoName);
    void eraseForGood(const MessageList& messages);
    void showFromFirstRow(std::string searchText);
    void setSelection(std::vector<std::int64_t> rows);
    void selectionDidChange();
    // What the rows stand for, each message once; rows that are gone for nothing.
    std::vector<std::int64_t> messagesOf(const std::vector<std::int64_t>& rows) const;
    // The rows that there are by now for these: a conversation may have been left with one message, or have come about.
    std::vector<std::int64_t> presentRows(std::vector<std::int64_t> rows);
    std::int64_t readID() const;  // of selectedMessage(); 0 for none
    bool groupsByConversation() const;
    // After messages left the list: the selection goes on to the row that took their place.
    void selectAfterMove(const std::vector<std::int64_t>& gone, std::optional<int> firstRow);
    void markReadSoon();
    void reloadAtMidnight();
    void makeBanners();
    // What stands above the message learns which one is shown, and looks again at what it tells of it.
    void updateReading();
    MailLibrary& library() const;
    std::optional<MailboxKind> kindOf(const MessageRef& message) const;
    bool isListed(std::int64_t id) const;
    // Of messages in several mailboxes such a list has one row, which may become another.
    bool listsAllMailboxes() const;
    // Archiving takes a message out of the inbox, wherever it is seen.
    MessageList asInInbox(const MessageList& messages) const;
    bool canArchive() const;
    void selectAgainInOutbox();
    bool selectionIsIn(MailboxKind kind) const;  // every selected message, and there is one
    bool selectionHas(bool isSeen) const;  // any message that is read, or unread; of very many it is taken as given
    std::vector<MessageSummary> conversationOfSelected();
    std::optional<std::int64_t> neighbourInConversation(int step);
    void tellFailure(const std::string& title, const Result<void>& result);

    MailApplicationObject& application_;
    std::shared_ptr<Window> window_;
    std::shared_ptr<TableViewManager> tableManager_;
    std::shared_ptr<BannerContainerViewController> banners_;
    std::shared_ptr<HeaderViewController> header_;
    std::shared_ptr<MessageListController> listController_;
    std::shared_ptr<ViewingPaneViewController> pane_;
    std::pair<std::int64_t, std::string> selectedText_;  // of which message
    mutable MessageRows rows_;
    std::string mailbox_;                 // identifier; empty: all of them
    std::vector<std::int64_t> chosen_;    // rows of the list
    std::vector<std::int64_t> selected_;  // the messages that they stand for
    std::int64_t read_ = 0;               // which of a selected conversation is read; 0: it is no conversation
    std::int64_t visited_ = 0;            // the selected message when it was reached by its conversation
    std::string selectedInOutbox_;        // the unique id of the one that is selected there; empty: none or several
    std::optional<std::pair<int, std::int64_t>> rowLastAsked_;
    std::shared_ptr<MoveHistory> moves_ = std::make_shared<MoveHistory>();
    bool isForOneMessage_ = false;
    TimerRef midnight_;
    bool ended_ = false;
};

}  // namespace qs
