// What the viewer's menu items and toolbar items do with the selected messages, but for moving them.
#include <algorithm>

#include "ComposeWindow.h"
#include "Foundation/Format.h"
#include "Mail/MailAccount.h"
#include "MailApplicationObject.h"
#include "MainMenu.h"
#include "Models/Toolbar.h"
#include "ViewerObject.h"

namespace qs {

void ViewerObject::replyTo(int composeMode) {
    ComposeRequest request;
    request.mode = static_cast<ComposeMode>(composeMode);
    request.message = selectedMessage();
    if (request.message) application_.compose(request);
}

void ViewerObject::openSelected() {
    if (readID() != 0) open(readID());
}

void ViewerObject::mark(const FlagChange& change) {
    tellFailure("The messages can't be marked", setFlags(selected_, change));
}

// By the colour of a menu item; a button without a colour flags in red or, if all are flagged, takes the flags away.
void ViewerObject::flag(HostObject* sender) {
    if (const auto* item = dynamic_cast<MenuItem*>(sender))
        return mark({.flagged = true, .colour = std::clamp(item->tag() - kFlagColourTag, 0, 6)});
    const bool allFlagged = std::ranges::all_of(selected_, [&](std::int64_t id) {
        const auto summary = library().summary(id);
        return summary && summary->flags.flagged;
    });
    mark(allFlagged ? FlagChange{.flagged = false} : FlagChange{.flagged = true, .colour = 0});
}

void ViewerObject::flagLike(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    mark({.flagged = true, .colour = item ? std::clamp(item->tag(), 0, 6) : 0});
}

void ViewerObject::show() {
    if (isForOneMessage_ && !selected_.empty()) application_.viewer().open(selected_.front());
    application_.frontWindowFirst(*application_.viewer().window());
    if (isForOneMessage_) application_.requestFromPage("read", "viewer");
}

void ViewerObject::selectAll() { setSelection(rows_.allIDs()); }

void ViewerObject::selectNeighbour(int step, bool unreadOnly) {
    const auto current = chosen_.empty() ? std::nullopt : rows_.rowOf(chosen_.back());
    int row = current ? *current + step : rows_.offset();
    while (const auto found = rows_.at(row)) {
        const bool isUnread = found->isConversation ? found->facts.unread > 0 : !found->summary.flags.seen;
        if (!unreadOnly || isUnread) return setSelection({found->id()});
        row += step;
    }
}

void ViewerObject::goToMailbox(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    const auto accounts = MailAccount::mailAccounts();
    if (!item || accounts.empty()) return;
    const auto shown = mailbox();
    const auto account = shown && shown->account() ? shown->account() : accounts.front();
    const auto target = account->mailboxOfKind(item->tag(), true);
    if (target) selectMailbox(target->identifier());
}

void ViewerObject::markAllRead() {
    const auto shown = mailbox();
    if (!shown) return;
    const auto unread =
        MessageCriterion::allOf({shown->criterion(), MessageCriterion::with(MessageCriterion::Kind::IsUnread)});
    std::vector<std::int64_t> ids;
    for (const MessageRef& message : library().messagesMatchingCriterion(unread, 0, kSearchEverything))
        ids.push_back(message->libraryID());
    tellFailure("Not everything could be marked as read", setFlags(ids, {.seen = true}));
}

void ViewerObject::showSource() { application_.requestFromPage("source", "viewer"); }

bool ViewerObject::selectionIsIn(MailboxKind kind) const {
    if (selected_.empty()) return false;
    if (const auto shown = mailbox()) return shown->kind() == kind;
    return std::ranges::all_of(selected_, [&](std::int64_t id) { return kindOf(library().messageWithID(id)) == kind; });
}

bool ViewerObject::selectionHas(bool isSeen) const {
    constexpr std::size_t kLookedAt = 500;  // it is asked for often
    if (selected_.size() > kLookedAt) return true;
    return std::ranges::any_of(selected_, [&](std::int64_t id) {
        const auto summary = library().summary(id);
        return summary && summary->flags.seen == isSeen;
    });
}

}  // namespace qs
