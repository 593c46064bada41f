// Which rows of the list are selected, and what that means.
#include <algorithm>
#include <set>

#include "HostSettings.h"
#include "Mail/Mailbox.h"
#include "MailApplicationObject.h"
#include "MessageCopies.h"
#include "Models/ModelChanges.h"
#include "ViewerObject.h"

namespace qs {

namespace {

bool namesMailbox(const MessageCriterion& criterion) {
    return criterion.kind == MessageCriterion::Kind::InMailbox || std::ranges::any_of(criterion.parts, namesMailbox);
}

}  // namespace

// Only what is in the shown mailbox can be selected, unless a search says where to look or a conversation led there.
bool ViewerObject::isListed(std::int64_t id) const {
    if (id < 0) return rows_.isGrouped() && !library().idsInConversations(mailbox_, {-id}).empty();
    const auto summary = library().summary(id);
    if (!summary || mailbox_.empty() || summary->mailbox == mailbox_ || id == visited_) return summary.has_value();
    return library().searchQuery(rows_.search()).saysWhere;
}

bool ViewerObject::listsAllMailboxes() const {
    const SearchQuery query = library().searchQuery(rows_.search());
    return (mailbox_.empty() || query.saysWhere) && !namesMailbox(query.criterion);
}

std::vector<std::int64_t> ViewerObject::messagesOf(const std::vector<std::int64_t>& rows) const {
    std::vector<std::int64_t> conversations, messages;
    for (const std::int64_t row : rows)
        if (row < 0) conversations.push_back(-row);
    if (conversations.empty()) return rows;
    std::set<std::int64_t> seen;
    const auto add = [&](std::int64_t id) {
        if (id > 0 && seen.insert(id).second) messages.push_back(id);
    };
    std::ranges::for_each(library().idsInConversations(mailbox_, conversations), add);
    std::ranges::for_each(rows, add);
    return messages;
}

std::vector<std::int64_t> ViewerObject::presentRows(std::vector<std::int64_t> rows) {
    const bool areOfAll = listsAllMailboxes();
    for (std::int64_t& row : rows) {
        if (row > 0 && areOfAll) row = MessageCopies::of(library()).shownRow(row);
        if (row >= 0) continue;
        const auto newest = library().conversationIn(mailbox_, -row, 2);
        row = newest.empty() ? 0 : newest.size() == 1 ? newest.front().id : -newest.front().conversation;
    }
    std::set<std::int64_t> seen{0};
    std::erase_if(rows, [&](std::int64_t row) { return !seen.insert(row).second || (row > 0 && !isListed(row)); });
    // A message is not to be lost from view, nor the selection to grow by others, when it becomes one of several.
    if (rows.size() == 1 && rows.front() > 0) rows_.reveal(rows.front());
    return rows;
}

// `read_` follows: of a conversation the first unread message, else the newest; what was chosen stays, also one that
// lies in another mailbox.
void ViewerObject::selectionDidChange() {
    rowLastAsked_.reset();
    if (chosen_ != std::vector{visited_}) visited_ = 0;
    const bool isConversation = chosen_.size() == 1 && chosen_.front() < 0;
    if (!isConversation) read_ = 0;
    const auto kept = isConversation && read_ != 0 ? library().summary(read_) : std::nullopt;
    if (isConversation && (!kept || kept->conversation != -chosen_.front())) {
        const auto unread = std::ranges::find_if(selected_.rbegin(), selected_.rend(), [&](std::int64_t id) {
            const auto summary = library().summary(id);
            return summary && !summary->flags.seen;
        });
        read_ = unread == selected_.rend() ? selected_.front() : *unread;
    }
    rows_.selectionChanged();
}

void ViewerObject::setSelection(std::vector<std::int64_t> rows) {
    rowLastAsked_.reset();
    if (rows.size() == 1 && rows.front() > 0) rows_.reveal(rows.front());
    auto messages = messagesOf(rows);
    if (rows == chosen_ && messages == selected_) return;
    chosen_ = std::move(rows);
    selected_ = std::move(messages);
    read_ = 0;
    selectionDidChange();
    const auto shown = mailbox();
    const bool isOneInOutbox = selected_.size() == 1 && shown && shown->kind() == MailboxKind::Outbox;
    const auto summary = isOneInOutbox ? library().summary(selected_.front()) : std::nullopt;
    selectedInOutbox_ = summary ? summary->uniqueID : std::string();
    updateReading();
    noteModelChange();
    if (readID() != 0) markReadSoon();
}

void ViewerObject::selectIDs(std::vector<std::int64_t> ids) {
    std::set<std::int64_t> seen;
    std::erase_if(ids, [&](std::int64_t id) { return !seen.insert(id).second || !isListed(id); });
    setSelection(std::move(ids));
}

std::int64_t ViewerObject::readID() const {
    if (chosen_.size() != 1) return 0;
    return read_ != 0 ? read_ : chosen_.front();
}

// In a turn of its own: by then the selection stands, or has gone on to another message that is not to be marked.
void ViewerObject::markReadSoon() {
    const auto self = std::weak_ptr(std::static_pointer_cast<ViewerObject>(shared_from_this()));
    RunLoop::main().post([self, id = readID()] {
        const auto viewer = self.lock();
        if (!viewer || viewer->ended_ || viewer->readID() != id) return;
        const auto summary = viewer->library().summary(id);
        if (!summary || summary->flags.seen) return;
        const auto mailbox = viewer->library().mailboxWithIdentifier(summary->mailbox);
        // A message in the outbox is left alone: its delivery may be about to begin.
        if (!mailbox || mailbox->kind() == MailboxKind::Outbox) return;
        viewer->tellFailure("The message can't be marked as read", viewer->setFlags({id}, {.seen = true}));
    });
}

MessageRef ViewerObject::selectedMessage() const {
    const std::int64_t id = readID();
    return id > 0 ? library().messageWithID(id) : nullptr;
}

MessageList ViewerObject::selectedMessages() const {
    MessageList messages;
    for (const std::int64_t id : selected_)
        if (auto message = library().messageWithID(id)) messages.push_back(std::move(message));
    return messages;
}

// A reply is to one message of a conversation: the one that is read or, where several rows are selected, the newest.
MessageList ViewerObject::messagesTargetedByAction(std::string_view action) const {
    const bool hasConversations = std::ranges::any_of(chosen_, [](std::int64_t row) { return row < 0; });
    if (action != "replyMessage:" || !hasConversations) return selectedMessages();
    MessageList messages;
    std::set<std::int64_t> seen;  // a conversation's newest may be selected in a row of its own as well
    for (const std::int64_t row : chosen_) {
        std::int64_t id = chosen_.size() == 1 ? readID() : row;
        if (id < 0) {
            const auto newest = library().conversationIn(mailbox_, -row, 1);
            id = newest.empty() ? 0 : newest.front().id;
        }
        if (!seen.insert(id).second) continue;
        if (auto message = library().messageWithID(id)) messages.push_back(std::move(message));
    }
    return messages;
}

int ViewerObject::selectedRow() {
    rowLastAsked_.reset();
    for (const std::int64_t id : chosen_)
        if (const auto row = rows_.rowOf(id)) {
            rowLastAsked_ = {*row, id};
            return *row;
        }
    return -1;
}

void ViewerObject::reloadData() {
    rows_.messagesChanged();
    updateReading();
    noteModelChange();
}

// Whoever asks for the selected row, reloads and selects that row again wants to keep the selection. Mail may have come
// in above it meanwhile, so that the same row is another message; and the other selected messages shall stay selected.
void ViewerObject::selectRow(int row, bool byExtendingSelection) {
    if (rowLastAsked_ && rowLastAsked_->first == row &&
        std::ranges::find(chosen_, rowLastAsked_->second) != chosen_.end())
        return;
    const auto id = rows_.idAt(row);
    if (!id) return;
    auto selection = byExtendingSelection ? chosen_ : std::vector<std::int64_t>();
    if (std::ranges::find(selection, *id) == selection.end()) selection.push_back(*id);
    setSelection(std::move(selection));
}

}  // namespace qs
