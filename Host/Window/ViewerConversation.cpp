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
    const MessageRef selected = showsConversations() ? selectedMessage() : nullptr;
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
    return drawnRows(library(), conversationOfSelected(), selected_);
}

void ViewerObject::showInConversation(std::int64_t id) {
    const auto messages = conversationOfSelected();
    if (std::ranges::find(messages, id, &MessageSummary::id) == messages.end()) return;
    visited_ = isListed(id) ? 0 : id;
    setSelection({id});
}

std::optional<std::int64_t> ViewerObject::neighbourInConversation(int step) {
    const auto messages = conversationOfSelected();
    const auto here = std::ranges::find_if(messages, [&](const auto& each) { return selected_.front() == each.id; });
    const auto at = here - messages.begin() + step;
    if (here == messages.end() || at < 0 || at >= std::ssize(messages)) return {};
    return messages[static_cast<std::size_t>(at)].id;
}

void ViewerObject::showNeighbourInConversation(int step) {
    if (const auto id = neighbourInConversation(step)) showInConversation(*id);
}

void ViewerObject::toggleConversations() {
    UserDefaults::suite("")->setObject(!showsConversations(), kShowConversations);
    noteModelChange();
}

}  // namespace qs
