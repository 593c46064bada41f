#include "ViewerObject.h"

#include <algorithm>
#include <set>
#include <utility>

#include "ComposeWindow.h"
#include "Foundation/Assertion.h"
#include "ListDates.h"
#include "Mail/MailAccount.h"
#include "MailApplicationObject.h"
#include "Models/ModelChanges.h"
#include "Platform.h"
#include "Viewer/Banner.h"

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
}

void ViewerObject::beginWith(const Message& message) {
    makeTable();
    if (const auto mailbox = message.mailbox()) selectMailbox(mailbox->identifier());
    selected_ = {message.libraryID()};
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
    selected_.clear();
    selectedInOutbox_.clear();
    banners_.reset();
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

// The container is made for the first message that is shown: by then all plug-ins stand.
void ViewerObject::tellBanners() {
    const auto message = selectedMessage();
    if (message && !banners_) makeBanners();
    if (banners_) banners_->setMessage(message);
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
    rows_.show(shown ? shown->criterion() : MessageCriterion::allOf({}), std::move(searchText));
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
    const std::size_t before = selected_.size();
    std::erase_if(selected_, [&](std::int64_t id) { return !isListed(id); });
    if (selected_.size() != before) noteModelChange();
    if (selected_.empty() && !selectedInOutbox_.empty()) selectAgainInOutbox();
    tellBanners();
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

// Only what is in the shown mailbox can be selected, unless a search says where to look or a conversation led there.
bool ViewerObject::isListed(std::int64_t id) const {
    const auto summary = library().summary(id);
    if (!summary || mailbox_.empty() || summary->mailbox == mailbox_ || id == visited_) return summary.has_value();
    return library().searchQuery(rows_.search()).saysWhere;
}

void ViewerObject::setSelection(std::vector<std::int64_t> ids) {
    rowLastAsked_.reset();
    if (ids == selected_) return;
    selected_ = std::move(ids);
    if (selected_ != std::vector{visited_}) visited_ = 0;
    const auto shown = mailbox();
    const bool isOneInOutbox = selected_.size() == 1 && shown && shown->kind() == MailboxKind::Outbox;
    const auto summary = isOneInOutbox ? library().summary(selected_.front()) : std::nullopt;
    selectedInOutbox_ = summary ? summary->uniqueID : std::string();
    rows_.selectionChanged();
    tellBanners();
    noteModelChange();
    if (selected_.size() == 1) markReadSoon();
}

void ViewerObject::selectIDs(std::vector<std::int64_t> ids) {
    std::set<std::int64_t> seen;
    std::erase_if(ids, [&](std::int64_t id) { return !seen.insert(id).second || !isListed(id); });
    setSelection(std::move(ids));
}

// In a turn of its own: by then the selection stands, or has gone on to another message that is not to be marked.
void ViewerObject::markReadSoon() {
    const auto self = std::weak_ptr(std::static_pointer_cast<ViewerObject>(shared_from_this()));
    RunLoop::main().post([self, id = selected_.front()] {
        const auto viewer = self.lock();
        if (!viewer || viewer->ended_ || viewer->selected_ != std::vector{id}) return;
        const auto summary = viewer->library().summary(id);
        if (!summary || summary->flags.seen) return;
        const auto mailbox = viewer->library().mailboxWithIdentifier(summary->mailbox);
        // A message in the outbox is left alone: its delivery may be about to begin.
        if (!mailbox || mailbox->kind() == MailboxKind::Outbox) return;
        viewer->tellFailure("The message can't be marked as read", viewer->setFlags({id}, {.seen = true}));
    });
}

MessageRef ViewerObject::selectedMessage() const {
    return selected_.size() == 1 ? library().messageWithID(selected_.front()) : nullptr;
}

MessageList ViewerObject::selectedMessages() const {
    MessageList messages;
    for (const std::int64_t id : selected_)
        if (auto message = library().messageWithID(id)) messages.push_back(std::move(message));
    return messages;
}

void ViewerObject::open(std::int64_t id) {
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
    return library().setFlags(ids, change);
}

std::optional<MailboxKind> ViewerObject::kindOf(const MessageRef& message) const {
    const auto mailbox = message ? message->mailbox() : nullptr;
    return mailbox ? std::optional(mailbox->kind()) : std::nullopt;
}

int ViewerObject::selectedRow() {
    rowLastAsked_.reset();
    for (const std::int64_t id : selected_)
        if (const auto row = rows_.rowOf(id)) {
            rowLastAsked_ = {*row, id};
            return *row;
        }
    return -1;
}

void ViewerObject::reloadData() {
    rows_.messagesChanged();
    noteModelChange();
}

// Whoever asks for the selected row, reloads and selects that row again wants to keep the selection. Mail may have come
// in above it meanwhile, so that the same row is another message; and the other selected messages shall stay selected.
void ViewerObject::selectRow(int row, bool byExtendingSelection) {
    if (rowLastAsked_ && rowLastAsked_->first == row &&
        std::ranges::find(selected_, rowLastAsked_->second) != selected_.end())
        return;
    const auto id = rows_.idAt(row);
    if (!id) return;
    auto selection = byExtendingSelection ? selected_ : std::vector<std::int64_t>();
    if (std::ranges::find(selection, *id) == selection.end()) selection.push_back(*id);
    setSelection(std::move(selection));
}

}  // namespace qs
