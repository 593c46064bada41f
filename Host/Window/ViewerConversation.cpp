// The messages that belong to the selected one.
#include <algorithm>
#include <set>

#include "HostSettings.h"
#include "Mail/MailAccount.h"
#include "Models/ModelChanges.h"
#include "Settings/UserDefaults.h"
#include "ViewerObject.h"

namespace qs {

namespace {

constexpr int kLongestConversation = 200;

bool isKeptApart(MailboxKind kind) {
    return kind == MailboxKind::Drafts || kind == MailboxKind::Outbox || kind == MailboxKind::Junk ||
           kind == MailboxKind::Trash;
}

}  // namespace

// What is thrown away or not sent yet stays out of it, and so does the mail of other accounts. Of copies in several
// mailboxes one is enough.
std::vector<MessageSummary> ViewerObject::conversationOfSelected() {
    const MessageRef selected = showsConversations() || read_ != 0 ? selectedMessage() : nullptr;
    if (!selected || isKeptApart(*kindOf(selected))) return {};
    auto messages = library().conversation(selected->libraryID(), kLongestConversation);
    std::set<std::string> seen{selected->messageID()};
    std::erase_if(messages, [&](const MessageSummary& each) {
        if (each.id == selected->libraryID()) return false;
        const auto mailbox = library().mailboxWithIdentifier(each.mailbox);
        if (!mailbox || isKeptApart(mailbox->kind()) || mailbox->account() != selected->account()) return true;
        return !each.messageID.empty() && !seen.insert(each.messageID).second;
    });
    return messages.size() > 1 ? messages : std::vector<MessageSummary>();
}

std::vector<ViewerRow> ViewerObject::conversation() {
    return drawnRows(library(), conversationOfSelected(), {readID()});
}

void ViewerObject::showInConversation(std::int64_t id) {
    const auto messages = conversationOfSelected();
    if (std::ranges::find(messages, id, &MessageSummary::id) == messages.end()) return;
    // In a selected conversation one goes about without leaving its row.
    if (read_ != 0) {
        read_ = id;
        updateReading();
        noteModelChange();
        return markReadSoon();
    }
    visited_ = isListed(id) ? 0 : id;
    setSelection({id});
}

std::optional<std::int64_t> ViewerObject::neighbourInConversation(int step) {
    const auto messages = conversationOfSelected();
    const auto here = std::ranges::find_if(messages, [&](const auto& each) { return readID() == each.id; });
    const auto at = here - messages.begin() + step;
    if (here == messages.end() || at < 0 || at >= std::ssize(messages)) return {};
    return messages[static_cast<std::size_t>(at)].id;
}

void ViewerObject::showNeighbourInConversation(int step) {
    if (const auto id = neighbourInConversation(step)) showInConversation(*id);
}

std::optional<int> ViewerObject::conversations() const {
    return rows_.isGrouped() ? std::optional(rows_.conversations()) : std::nullopt;
}

// What isn't part of the talk stands by itself, and so do drafts, each of which is a piece of work.
bool ViewerObject::groupsByConversation() const {
    const auto shown = mailbox();
    return !isForOneMessage_ && groupsConversations() && shown && !isKeptApart(shown->kind());
}

void ViewerObject::setOpen(std::int64_t row, bool open) {
    if (row >= 0 || !rows_.isGrouped()) return;
    rows_.setOpen(-row, open);
    // Rows that go with it leave their selection to it.
    const auto messages = open ? std::vector<std::int64_t>() : messagesOf({row});
    auto chosen = chosen_;
    std::erase_if(chosen, [&](std::int64_t id) { return std::ranges::find(messages, id) != messages.end(); });
    if (chosen.size() != chosen_.size()) {
        if (std::ranges::find(chosen, row) == chosen.end()) chosen.push_back(row);
        setSelection(std::move(chosen));
    }
    noteModelChange();
}

// The message that is read stays selected.
void ViewerObject::toggleGrouping() {
    UserDefaults::suite("")->setObject(!groupsConversations(), kGroupConversations);
    const std::int64_t id = visited_ == 0 ? readID() : 0;
    setSelection({});
    showFromFirstRow(rows_.search());
    if (id != 0) setSelection({id});
}

void ViewerObject::toggleConversations() {
    UserDefaults::suite("")->setObject(!showsConversations(), kShowConversations);
    noteModelChange();
}

}  // namespace qs
