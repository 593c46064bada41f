#include "ViewerObject.h"

#include <algorithm>
#include <set>
#include <utility>

#include "ComposeWindow.h"
#include "Foundation/Assertion.h"
#include "HeaderObject.h"
#include "Mail/MailAccount.h"
#include "MailApplicationObject.h"
#include "Models/ModelChanges.h"
#include "Platform.h"
#include "Viewer/Banner.h"
#include "Viewer/HeaderView.h"
#include "Viewer/ListDates.h"
#include "ViewerPane.h"

namespace qs {
namespace {

// The table as plug-ins reach it; the rows are the viewer's.
class ViewerTable : public TableView {
public:
    explicit ViewerTable(std::weak_ptr<ViewerObject> viewer) : TableView("NSTableView"), viewer_(std::move(viewer)) {}
    int selectedRow() const override {
        const auto viewer = viewer_.lock();
        return viewer ? viewer->selectedRow() : -1;
    }
    void reloadData() override {
        if (const auto viewer = viewer_.lock()) viewer->reloadData();
    }
    void selectRow(int row, bool byExtendingSelection) override {
        if (const auto viewer = viewer_.lock()) viewer->selectRow(row, byExtendingSelection);
    }

private:
    std::weak_ptr<ViewerObject> viewer_;
};

class ViewerTableManager : public TableViewManager {
public:
    explicit ViewerTableManager(const std::shared_ptr<ViewerObject>& viewer)
        : TableViewManager("TableViewManager"), table_(std::make_shared<ViewerTable>(viewer)) {}
    std::shared_ptr<TableView> tableView() const override { return table_; }

private:
    std::shared_ptr<TableView> table_;
};

}  // namespace

ViewerObject::ViewerObject(MailApplicationObject& application, std::string_view className)
    : MainViewer(className),
      application_(application),
      window_(std::make_shared<Window>("viewer")),
      rows_(application.engine().library()) {}

void ViewerObject::makeTable() {
    const auto self = std::static_pointer_cast<ViewerObject>(shared_from_this());
    tableManager_ = std::make_shared<ViewerTableManager>(self);
    if (osMinor() == 11) listController_ = std::make_shared<MessageListController>("MessageListController");
    pane_ = makeViewingPane(self, library());
}

void ViewerObject::beginWith(const Message& message, const ViewerObject& personsViewer) {
    makeTable();
    isForOneMessage_ = true;
    moves_ = personsViewer.moves_;
    if (const auto mailbox = message.mailbox()) selectMailbox(mailbox->identifier());
    chosen_ = selected_ = {message.libraryID()};
}

void ViewerObject::begin() {
    makeTable();
    window_->setVisible(true);
    const auto accounts = MailAccount::mailAccounts();
    const auto inbox = accounts.empty() ? nullptr : accounts.front()->inboxMailbox();
    selectMailbox(inbox ? inbox->identifier() : std::string());
    reloadAtMidnight();
}

void ViewerObject::end() {
    ended_ = true;
    chosen_.clear();
    selected_.clear();
    selectedInOutbox_.clear();
    banners_.reset();
    header_.reset();
    if (midnight_) midnight_->invalidate();
    window_->setVisible(false);
}

void ViewerObject::makeBanners() {
    banners_ = std::make_shared<BannerContainerViewController>(window_);
    try {
        banner_container::commonInit(*banners_);
    } catch (const std::exception&) {
        logCaughtException("The banners are shown as far as they were made");
    }
}

// Both are made for the first message that is shown: by then all plug-ins stand.
void ViewerObject::updateReading() {
    const auto message = selectedMessage();
    if (message && !banners_) makeBanners();
    if (banners_) banners_->setMessage(message);
    if (message && !header_) header_ = std::make_shared<HeaderViewController>(window_);
    if (header_) showInHeader(*header_, message);
}

MailLibrary& ViewerObject::library() const { return application_.engine().library(); }

std::shared_ptr<Toolbar> ViewerObject::toolbar() const { return window_->toolbar(); }

// "Yesterday" has become another day.
void ViewerObject::reloadAtMidnight() {
    RunLoop& loop = RunLoop::main();
    const auto self = std::weak_ptr(std::static_pointer_cast<ViewerObject>(shared_from_this()));
    midnight_ = loop.after(secondsUntilTomorrow(loop.now()), [self] {
        const auto viewer = self.lock();
        if (!viewer || viewer->ended_) return;
        viewer->reloadData();
        viewer->reloadAtMidnight();
    });
}

std::shared_ptr<Mailbox> ViewerObject::mailbox() const {
    return mailbox_.empty() ? nullptr : library().mailboxWithIdentifier(mailbox_);
}

void ViewerObject::selectMailbox(std::string_view identifier) {
    if (!identifier.empty() && !library().mailboxWithIdentifier(identifier)) return;
    mailbox_ = identifier;
    selectedInOutbox_.clear();
    setSelection({});
    showFromFirstRow({});
}

void ViewerObject::search(std::string_view text) {
    if (text == rows_.search()) return;
    showFromFirstRow(std::string(text));
}

void ViewerObject::showFromFirstRow(std::string searchText) {
    const auto shown = library().searchQuery(searchText).saysWhere ? nullptr : mailbox();
    const bool isGrouped = searchText.empty() && groupsByConversation();
    rows_.show(shown ? shown->criterion() : MessageCriterion::allOf({}), std::move(searchText),
               isGrouped ? mailbox_ : std::string());
    window_->setTitle(title());
    noteModelChange();
}

std::string ViewerObject::title() const {
    const auto shown = mailbox();
    if (!shown) return "All Mailboxes";
    const auto account = shown->account();
    if (!account || MailAccount::mailAccounts().size() < 2) return shown->displayName();
    return shown->displayName() + " – " + account->displayName();
}

void ViewerObject::setWindowOfRows(int offset, int limit) {
    rows_.setWindow(offset, limit);
    noteModelChange();
}

void ViewerObject::libraryDidChange() {
    rows_.messagesChanged();
    if (!mailbox_.empty() && !mailbox()) {  // it has gone; there is always another place to be
        const auto accounts = MailAccount::mailAccounts();
        const auto inbox = accounts.empty() ? nullptr : accounts.front()->inboxMailbox();
        return selectMailbox(inbox ? inbox->identifier() : std::string());
    }
    auto rows = presentRows(chosen_);
    auto messages = messagesOf(rows);
    if (rows != chosen_ || messages != selected_) {
        chosen_ = std::move(rows);
        selected_ = std::move(messages);
        selectionDidChange();
        noteModelChange();
    }
    if (selected_.empty() && !selectedInOutbox_.empty()) selectAgainInOutbox();
    updateReading();
}

// An attempt to deliver takes a message out and, when it fails, puts it back as another one. To the person who looks at
// it it is the same.
void ViewerObject::selectAgainInOutbox() {
    const auto shown = mailbox();
    if (!shown || shown->kind() != MailboxKind::Outbox) return;
    const auto criterion = MessageCriterion::allOf(
        {shown->criterion(), MessageCriterion::with(MessageCriterion::Kind::UniqueIDIs, selectedInOutbox_)});
    const MessageList found = library().messagesMatchingCriterion(criterion, 0, kSearchStore);
    if (found.size() == 1) setSelection({found.front()->libraryID()});
}

void ViewerObject::open(std::int64_t id) {
    if (id < 0) return setOpen(id, !rows_.isOpen(-id));
    const auto message = library().messageWithID(id);
    if (!message) return;
    const auto kind = kindOf(message);
    if (kind == MailboxKind::Drafts || kind == MailboxKind::Outbox) return sendForDraft(nullptr, true, message);
    if (!isListed(id)) selectMailbox(message->mailbox()->identifier());
    selectIDs({id});
}

void ViewerObject::sendForDraft(HostObject*, bool forDraft, MessageRef actualMessage) {
    ComposeRequest request;
    if (forDraft) {
        request.mode = ComposeMode::Draft;
        request.message = std::move(actualMessage);
    }
    application_.compose(request);
}

Result<void> ViewerObject::setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) {
    return library().setFlags(messagesOf(ids), change);
}

std::optional<MailboxKind> ViewerObject::kindOf(const MessageRef& message) const {
    const auto mailbox = message ? message->mailbox() : nullptr;
    return mailbox ? std::optional(mailbox->kind()) : std::nullopt;
}

}  // namespace qs
