// Messages between mailboxes: archive, junk, trash, other places, and back again.
#include <algorithm>
#include <map>
#include <set>

#include "DeliveryService.h"
#include "Foundation/Format.h"
#include "Mail/MailAccount.h"
#include "MailApplicationObject.h"
#include "MessageCopies.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "ViewerObject.h"

namespace qs {
namespace {

std::vector<std::int64_t> idsOf(const MessageList& messages) {
    std::vector<std::int64_t> ids;
    for (const MessageRef& message : messages)
        if (message) ids.push_back(message->libraryID());
    return ids;
}

// "3 messages moved to Archive."; without a place when there are several.
std::string describeMove(const std::vector<MoveHistory::Moved>& moved, MailLibrary& library) {
    std::set<std::string> places;
    for (const MoveHistory::Moved& one : moved)
        if (const auto mailbox = library.mailboxWithIdentifier(one.to)) places.insert(mailbox->displayName());
    const auto count = static_cast<std::int64_t>(moved.size());
    const std::string what = count == 1 ? "Message moved" : stringWithFormat("%ld messages moved", {count});
    return places.size() == 1 ? what + " to " + *places.begin() + "." : what + ".";
}

constexpr const char* kNoOutbox = "Messages are not moved into an outbox. To send one again, forward it.";

tl::unexpected<Error> viewerFailure(std::string text) { return failure("Viewer", 2, std::move(text)); }

}  // namespace

Result<void> ViewerObject::moveTo(const std::vector<std::int64_t>& ids, std::string_view mailboxIdentifier) {
    const auto target = library().mailboxWithIdentifier(mailboxIdentifier);
    if (!target) return viewerFailure("That mailbox is no longer there.");
    MessageList messages;
    for (const std::int64_t id : messagesOf(ids))
        if (auto message = library().messageWithID(id)) messages.push_back(std::move(message));
    return transfer({{std::move(messages), target}}, "Move", true);
}

Result<void> ViewerObject::transferMessages(const MessageList& messages, Mailbox& toMailbox, TransferOptions options) {
    if (!options.deleteOriginals) return copyTo(messages, toMailbox);
    const auto target = library().mailboxWithIdentifier(toMailbox.identifier());
    if (!target) return viewerFailure("That mailbox is no longer there.");
    const char* name = options.isArchiveOperation ? "Archive" : options.isDeleteOperation ? "Move to Trash" : "Move";
    // Through a viewer that nobody sees, a plug-in moves what it thinks fit, at any time: Undo is for the person's
    // moves.
    const auto moved = options.isArchiveOperation ? asInInbox(messages) : messages;
    return transfer({{moved, target}}, name, options.allowUndo && !isForOneMessage_);
}

Result<void> ViewerObject::copyTo(const MessageList& messages, Mailbox& toMailbox) {
    if (toMailbox.kind() == MailboxKind::Outbox) return viewerFailure(kNoOutbox);
    for (const MessageRef& message : messages) {
        if (!message) continue;
        const auto content = library().content(message->libraryID());
        if (!content) return failed(content);
        const auto added = library().add(toMailbox, *content, message->flags(), message->dateReceived());
        if (!added) return failed(added);
    }
    return {};
}

// What waits in an outbox may be on its way out this very moment.
Result<void> ViewerObject::moveOrTakeBack(std::vector<std::int64_t> ids, Mailbox& to) {
    const auto waiting = std::stable_partition(ids.begin(), ids.end(), [this](std::int64_t id) {
        return kindOf(library().messageWithID(id)) != MailboxKind::Outbox;
    });
    const std::vector<std::int64_t> held(waiting, ids.end());
    ids.erase(waiting, ids.end());
    Result<void> result;
    if (!ids.empty()) result = library().move(ids, to);
    if (held.empty()) return result;
    const auto taken = application_.engine().deliveries().takeBack(held, to);
    return taken ? result : taken;
}

// Goes on past a failure, so that what can be moved is; the last failure is told.
Result<void> ViewerObject::transfer(const std::vector<Target>& targets, const std::string& undoName, bool allowUndo,
                                    std::optional<bool> marksJunk) {
    Result<void> result;
    std::vector<MoveHistory::Moved> moved;
    std::vector<std::int64_t> gone;
    std::optional<int> firstRow;
    for (const Target& target : targets) {
        if (target.mailbox->kind() == MailboxKind::Outbox) return viewerFailure(kNoOutbox);
        std::vector<MoveHistory::Moved> going;
        std::vector<std::int64_t> ids;
        for (const std::int64_t id : idsOf(target.messages)) {
            const auto summary = library().summary(id);
            if (!summary) continue;
            if (summary->mailbox == target.mailbox->identifier()) {
                if (marksJunk)
                    if (auto marked = library().setFlags({id}, {.junk = *marksJunk}); !marked) result = marked;
                continue;
            }
            going.push_back(MoveHistory::describe(*summary, target.mailbox->identifier()));
            ids.push_back(id);
            if (const auto row = rows_.rowOf(id)) firstRow = std::min(*row, firstRow.value_or(*row));
        }
        if (ids.empty()) continue;
        if (marksJunk)
            if (auto marked = library().setFlags(ids, {.junk = *marksJunk}); !marked) result = marked;
        if (auto done = moveOrTakeBack(ids, *target.mailbox); !done) result = done;
        for (MoveHistory::Moved& one : going) {
            const auto now = library().summary(one.id);
            if (now && now->mailbox == one.from) continue;  // it stayed
            gone.push_back(one.id);
            // Nothing is put back into an outbox: it would be sent from there.
            const auto source = library().mailboxWithIdentifier(one.from);
            if (source && source->kind() != MailboxKind::Outbox) moved.push_back(std::move(one));
        }
    }
    if (allowUndo) {
        std::string text = describeMove(moved, library());
        moves_->add(undoName, std::move(text), std::move(moved));
    }
    selectAfterMove(gone, firstRow);
    return result;
}

void ViewerObject::selectAfterMove(const std::vector<std::int64_t>& gone, std::optional<int> firstRow) {
    if (gone.empty()) return;
    rows_.messagesChanged();
    noteModelChange();
    if (listsAllMailboxes()) return;  // still has them
    auto rest = chosen_;
    std::erase_if(rest, [&](std::int64_t id) { return id > 0 && std::ranges::find(gone, id) != gone.end(); });
    rest = presentRows(std::move(rest));
    if (rest == chosen_ && messagesOf(rest) == selected_) return;
    if (rest.empty() && firstRow && rows_.total() > 0)
        if (const auto next = rows_.idAt(std::min(*firstRow, rows_.total() - 1))) rest = {*next};
    setSelection(std::move(rest));
}

// What lies in the archive may be in the inbox as well.
bool ViewerObject::canArchive() const {
    if (!selectionIsIn(MailboxKind::Archive)) return true;
    constexpr std::size_t kLookedAt = 50;  // it is asked for often
    if (selected_.size() > kLookedAt)      // one may be, and for the others archiving changes nothing
        return std::ranges::any_of(library().mailAccounts(), [](const auto& each) { return each->isGmailAccount(); });
    return std::ranges::any_of(selected_, [this](auto id) {
        const auto message = library().messageWithID(id);
        return asInInbox({message}).front() != message;
    });
}

// Each message to that mailbox of its own account.
std::vector<ViewerObject::Target> ViewerObject::targetsOfKind(const MessageList& messages, MailboxKind kind) {
    std::vector<Target> targets;
    for (const MessageRef& message : messages) {
        const auto account = message->account();
        const auto mailbox = account ? account->mailboxOfKind(static_cast<int>(kind), true) : nullptr;
        if (!mailbox) continue;
        auto target = std::ranges::find(targets, mailbox, &Target::mailbox);
        if (target == targets.end()) target = targets.insert(targets.end(), {{}, mailbox});
        target->messages.push_back(message);
    }
    return targets;
}

void ViewerObject::moveSelection(MailboxKind kind, const std::string& undoName) {
    const auto messages = kind == MailboxKind::Archive ? asInInbox(selectedMessages()) : selectedMessages();
    tellFailure("Not everything could be moved", transfer(targetsOfKind(messages, kind), undoName, true));
}

MessageList ViewerObject::asInInbox(const MessageList& messages) const {
    MessageList found;
    for (const MessageRef& message : messages) {
        const auto account = message ? message->account() : nullptr;
        const auto inbox = account && account->isGmailAccount() ? account->inboxMailbox() : nullptr;
        const auto row = inbox ? MessageCopies::of(library()).rowIn(*inbox, message->libraryID()) : 0;
        auto inside = row != 0 ? library().messageWithID(row) : nullptr;
        found.push_back(inside ? std::move(inside) : message);
    }
    return found;
}

void ViewerObject::archive() { moveSelection(MailboxKind::Archive, "Archive"); }

void ViewerObject::junk() { markAsJunk(!selectionIsIn(MailboxKind::Junk)); }

void ViewerObject::markAsJunk(bool isJunk) {
    const auto targets = targetsOfKind(selectedMessages(), isJunk ? MailboxKind::Junk : MailboxKind::Inbox);
    tellFailure("Not everything could be moved",
                transfer(targets, isJunk ? "Junk" : "Not Junk", true, /*marksJunk=*/isJunk));
}

// From the trash for good, from everywhere else into the trash.
void ViewerObject::remove() {
    MessageList toTrash, fromTrash;
    for (const MessageRef& message : selectedMessages())
        (kindOf(message) == MailboxKind::Trash ? fromTrash : toTrash).push_back(message);
    if (!toTrash.empty())
        tellFailure("Not everything could be moved to the trash",
                    transfer(targetsOfKind(toTrash, MailboxKind::Trash), "Move to Trash", true));
    if (!fromTrash.empty()) eraseForGood(fromTrash);
}

void ViewerObject::eraseForGood(const MessageList& messages) {
    const auto count = static_cast<std::int64_t>(messages.size());
    Alert alert;
    alert.messageText =
        count == 1 ? "Delete the message for good?" : stringWithFormat("Delete %ld messages for good?", {count});
    alert.informativeText = "This can't be undone.";
    alert.buttons = {"Delete", "Cancel"};
    if (alert.runModalSheetForWindow(*window_) != kAlertFirstButtonReturn || ended_) return;
    // While the question stood, a message may have been moved back.
    std::vector<std::int64_t> ids;
    std::optional<int> firstRow;
    for (const std::int64_t id : idsOf(messages)) {
        if (kindOf(library().messageWithID(id)) != MailboxKind::Trash) continue;
        ids.push_back(id);
        if (const auto row = rows_.rowOf(id)) firstRow = std::min(*row, firstRow.value_or(*row));
    }
    tellFailure("Not everything could be deleted", library().erase(ids));
    std::erase_if(ids, [&](std::int64_t id) { return library().summary(id).has_value(); });
    selectAfterMove(ids, firstRow);
}

void ViewerObject::emptyTrash() {
    MessageList messages;
    for (const auto& account : MailAccount::mailAccounts()) {
        const auto trash = account->mailboxOfKind(static_cast<int>(MailboxKind::Trash), false);
        if (!trash) continue;
        const auto found = library().messagesMatchingCriterion(trash->criterion(), 0, kSearchEverything);
        messages.insert(messages.end(), found.begin(), found.end());
    }
    if (!messages.empty()) eraseForGood(messages);
}

void ViewerObject::moveToRepresented(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    const auto target = item ? std::dynamic_pointer_cast<Mailbox>(item->representedObject()) : nullptr;
    if (!target) return;
    // A menu may have been made before the mailbox closed itself to messages.
    if (!application_.rowOfMailbox(*target).takesDrops)
        return application_.tell("The messages can't be moved",
                                 stringWithFormat("Messages can't be put into “%@”.", {target->displayName()}));
    tellFailure("Not everything could be moved", moveTo(selected_, target->identifier()));
}

void ViewerObject::undoMove() {
    tellFailure("Not everything could be moved back", moves_->undo(library()));
    rows_.messagesChanged();
    noteModelChange();
}

void ViewerObject::tellFailure(const std::string& title, const Result<void>& result) {
    if (!result) application_.tell(title, result.error().description);
}

}  // namespace qs
