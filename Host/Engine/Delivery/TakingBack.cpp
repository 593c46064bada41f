// Taking messages back out of the outbox: first the intent, then the message in its new place, then no copy in the
// outbox any more. A message for which that is under way, or was cut off, is not delivered.
#include <algorithm>

#include "AccountBook.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "Maildir/MaildirName.h"

namespace qs {

namespace {

Error deliveryError(DeliveryError code, std::string sentence) {
    return {std::string(kDeliveryErrorDomain), static_cast<int>(code), std::move(sentence), {}};
}

}  // namespace

std::string DeliveryServiceObject::nameOf(std::int64_t libraryID) const {
    return MaildirName(library_.file(libraryID).filename().string()).unique();
}

bool DeliveryServiceObject::isBeingTakenBack(std::int64_t libraryID) const {
    const std::string name = nameOf(libraryID);
    std::scoped_lock lock(lock_);
    return takingBack_.contains(name);
}

Result<void> DeliveryServiceObject::takeBack(const std::vector<std::int64_t>& ids, Mailbox& to) {
    Result<void> result;
    for (const std::int64_t id : ids)
        if (auto done = takeBackOne(id, to); !done) result = done;
    statusDidChange();
    return result;
}

Result<void> DeliveryServiceObject::takeBackOne(std::int64_t id, Mailbox& to) {
    const auto summary = library_.summary(id);
    const auto mailbox = summary ? library_.mailboxWithIdentifier(summary->mailbox) : nullptr;
    const std::string name = nameOf(id);
    if (!mailbox || mailbox->kind() != MailboxKind::Outbox || name.empty())
        return failure(deliveryError(DeliveryError::HasLeft, "The message has left the outbox."));
    if (to.kind() == MailboxKind::Drafts && !records_.record(keyOf(*summary)).reached.empty())
        return failure(deliveryError(DeliveryError::ReachedSome,
                                     "Some recipients have this message already, so it can't be changed any more. "
                                     "Delete it if the others are not to get it."));
    TakingBack one;
    {
        std::scoped_lock lock(lock_);
        TakingBack& entry = takingBack_[name];
        if (std::exchange(entry.isBusy, true))
            return failure(deliveryError(DeliveryError::NotTried, "The message is being taken back already."));
        const bool isOtherTarget = entry.note.target != to.identifier();
        entry.isNoted = entry.isNoted && !isOtherTarget;
        entry.note = {name, to.identifier(), summary->uniqueID, summary->subject};
        one = entry;
    }
    auto done = carryOut(one, id, to);
    endTakingBack(one);
    return done;
}

// Exactly one of this and a delivery's claim gets the file.
Result<void> DeliveryServiceObject::carryOut(TakingBack& one, std::int64_t id, Mailbox& to) {
    one.isOver = false;
    if (!one.isNoted) {
        if (auto written = takeBackNotes_.write(one.note); !written) return written;
        one.isNoted = true;
    }
    const auto moved = library_.move({id}, to);
    if (!moved && library_.summary(id)) return failed(moved);  // a place in another mailbox has another id
    one.isOver = true;
    if (!moved && stands(one.note, to)) {
        // It has moved, but a power cut could undo that. The note stays, for the next start to look.
        logWarning("A message that was taken back is not safe against a power cut yet: " + moved.error().description);
        return {};
    }
    if (auto removed = takeBackNotes_.remove(one.note.name); !removed)
        logWarning("The note of a message that was taken back stays for now: " + removed.error().description);
    if (!moved) return failure(deliveryError(DeliveryError::HasLeft, "The message has left the outbox."));
    return {};
}

// What could not be done stays noted: the message does not leave, and each walk tries again.
void DeliveryServiceObject::endTakingBack(const TakingBack& one) {
    std::scoped_lock lock(lock_);
    if (one.isOver) {
        takingBack_.erase(one.note.name);
        return;
    }
    TakingBack& entry = takingBack_[one.note.name];
    entry.isNoted = one.isNoted;
    entry.isBusy = false;
}

void DeliveryServiceObject::readTakeBackNotes() {
    for (TakeBackNote& note : takeBackNotes_.readAll()) {
        std::scoped_lock lock(lock_);
        const std::string name = note.name;
        takingBack_.try_emplace(name, TakingBack{.note = std::move(note), .isNoted = true});
    }
}

// After deliveries that were cut off are settled: what they put back into the outbox is then found there.
void DeliveryServiceObject::settleTakingBack() {
    std::vector<TakingBack> waiting;
    {
        std::scoped_lock lock(lock_);
        for (auto& [name, entry] : takingBack_)
            if (!std::exchange(entry.isBusy, true)) waiting.push_back(entry);
    }
    for (TakingBack& one : waiting) {
        settle(one);
        endTakingBack(one);
    }
}

void DeliveryServiceObject::settle(TakingBack& one) {
    for (const AccountRecord& account : accounts_.all())
        if (files_.exists(claimedFolder(account.identifier) / one.note.name)) return;
    bool isCertain = true;
    const auto id = inOutbox(one.note.name, isCertain);
    if (!id && !isCertain) return;  // it stays noted, and must not leave
    auto target = library_.mailboxWithIdentifier(one.note.target);
    if (!id) {
        // It had moved, or had left, and only the note remained.
        one.isOver = true;
        if (auto removed = takeBackNotes_.remove(one.note.name); !removed)
            logWarning("The note of a message that was taken back stays: " + removed.error().description);
        if (target && stands(one.note, *target)) tellTakenBack(one.note, *target);
        return;
    }
    if (!target) {
        const auto message = library_.messageWithID(*id);
        const auto account = message ? message->account() : nullptr;
        target = account ? library_.mailbox(account->identifier(), MailboxKind::Drafts, true) : nullptr;
    }
    const auto done = target ? carryOut(one, *id, *target)
                             : failure(deliveryError(DeliveryError::Failed, "There is no mailbox for drafts."));
    if (done) return tellTakenBack(one.note, *target);
    logWarning("A message could not be taken back yet and waits in the outbox: " + done.error().description);
}

std::optional<std::int64_t> DeliveryServiceObject::inOutbox(const std::string& name, bool& isCertain) {
    for (const AccountRecord& account : accounts_.all()) {
        const auto outbox = library_.mailbox(account.identifier, MailboxKind::Outbox, false);
        if (!outbox) continue;
        isCertain = MailReading::of(library_).readNow(outbox->identifier()) && isCertain;
        for (const MessageRef& message : library_.messagesMatchingCriterion(outbox->criterion(), 0, kSearchStore))
            if (nameOf(message->libraryID()) == name) return message->libraryID();
    }
    return std::nullopt;
}

bool DeliveryServiceObject::stands(const TakeBackNote& note, const Mailbox& mailbox) {
    MessageCriterion criterion = mailbox.criterion();
    if (!note.uniqueID.empty())
        criterion = MessageCriterion::allOf(
            {criterion, MessageCriterion::with(MessageCriterion::Kind::UniqueIDIs, note.uniqueID)});
    const auto found = library_.messagesMatchingCriterion(criterion, 0, kSearchStore);
    return std::any_of(found.begin(), found.end(),
                       [&](const MessageRef& message) { return nameOf(message->libraryID()) == note.name; });
}

void DeliveryServiceObject::tellTakenBack(const TakeBackNote& note, const Mailbox& mailbox) {
    tell(stringWithFormat("“%@” was taken back. You find it in “%@”.", {note.subject, mailbox.displayName()}));
}

}  // namespace qs
