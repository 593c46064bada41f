// What was done here to one mailbox, done at the server.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/MaildirName.h"

namespace qs {

namespace {

constexpr int kMostCuts = 4;  // connections that break over one message

// Another client has removed it meanwhile: the next pass makes it again, as something is in it.
bool isMailboxMissing(const Error& error) {
    const auto code = imapResponseCode(error);
    return code == "TRYCREATE" || code == "NONEXISTENT";
}

}  // namespace

Whereabouts SyncPass::whereabouts(const std::string& name) {
    const auto folders = tree_.foldersWith(name);
    if (!folders) return {Whereabouts::Kind::Unknown, {}};
    const auto bound = parts_.state.mailboxesWith(name);
    for (const std::string& folder : *folders) {
        const auto mailbox = parts_.state.mailboxOfFolder(folder);
        const bool isBound = mailbox && std::find(bound.begin(), bound.end(), mailbox->number) != bound.end();
        if (isBound || staysHere(folder)) return {Whereabouts::Kind::Arrived, folder};
    }
    if (!folders->empty()) return {Whereabouts::Kind::Moved, folders->front()};
    return {parts_.state.isRemoved(name) ? Whereabouts::Kind::Erased : Whereabouts::Kind::Nowhere, {}};
}

Result<PushPlan> SyncPass::planFor(const MirroredMailbox& mailbox) {
    const auto known = parts_.state.messages(mailbox.number);
    // Twice: a file that is renamed during the look would otherwise seem to be lost.
    for (int i = 0; i < 2; ++i)
        if (const auto looked = tree_.lookAgain(mailbox.folder); !looked) return failed(looked);
    const auto here = tree_.messagesIn(mailbox.folder);
    if (!here) return failed(here);
    if (auto still = isStill(mailbox); !still) return failed(still);
    // Its folder is on its way to another name: what seems to be elsewhere is in it.
    if (mailbox.order != MirroredMailbox::Order::Remove && !tree_.exists(mailbox.folder))
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "Its folder is not there just now.");
    const auto find = [this](const std::string& name) { return whereabouts(name); };
    // Orders are read after the look: what one of them has removed is missing without being lost.
    const auto planNow = [&] {
        if (!isGmail()) return planPush(known, **here, find, mailbox.keptFlags);
        auto others = known;
        MessagesHere present = **here;
        withoutTaken(mailbox, others, present);
        return planPush(others, present, find, mailbox.keptFlags);
    };
    // What is missing may have been moved since the other folders were looked at.
    const bool isAllHere = std::all_of(known.begin(), known.end(),
                                       [&](const MirroredMessage& message) { return (*here)->contains(message.name); });
    if (!isAllHere) tree_.forgetOthersThan(mailbox.folder);
    PushPlan plan = planNow();
    if (plan.fetchAgain.empty()) return plan;
    // Or it was on its way from one of them to another just then.
    if (auto looked = tree_.lookAgainAtAll(); !looked) return failed(looked);
    return planNow();
}

bool SyncPass::hasSomethingToPush(const MirroredMailbox& mailbox) {
    const auto plan = planFor(mailbox);
    if (!plan || mailbox.uidValidity == 0) return true;
    const auto accepted = acceptedIn(mailbox.folder);
    return !plan->flagsThere.empty() || !plan->moves.empty() || !withoutMarked(plan->expunge).empty() ||
           !plan->fetchAgain.empty() ||
           std::any_of(plan->onlyHere.begin(), plan->onlyHere.end(),
                       [&](const std::string& name) { return mayUpload(name) && !accepted.contains(name); });
}

Result<void> SyncPass::push(Work& work) {
    if (!work.isPulled) return {};
    tree_.forget(work.mailbox.folder);
    const auto plan = planFor(work.mailbox);
    if (!plan) return failed(plan);
    // What is refused of it is tried again by the next pass, and the rest does not wait for it.
    const auto orGoOn = [&](const Result<void>& done) {
        return done ? done : goOnAfter(done.error(), work.mailbox.folder);
    };
    if (auto done = pushFlags(work.mailbox, *plan); !done) return done;
    for (const auto& [folder, messages] : plan->moves) {
        const auto moved = moveThere(work.mailbox, folder, messages);
        if (auto done = orGoOn(moved); !done) return done;
        if (!moved && moved.error().domain == kImapErrorDomain && !isForNow(moved.error()) &&
            !isMailboxMissing(moved.error()))
            tellOnce("/" + work.mailbox.folder + "/" + folder, "Messages that were moved to “" + shownPath(folder) +
                                                                   "” can't be moved there at the server. " +
                                                                   moved.error().description);
    }
    if (work.mailbox.order == MirroredMailbox::Order::Remove) return {};  // the rest goes with it
    if (const auto messages = withoutMarked(plan->expunge); !messages.empty())
        if (auto done = orGoOn(eraseThere(work.mailbox, messages)); !done) return done;
    std::vector<std::uint32_t> lost;
    for (const MirroredMessage& message : plan->fetchAgain)
        lost.push_back(message.uid);
    if (lost.empty()) return {};
    logWarning("messages of “" + work.mailbox.folder + "” of " + parts_.account +
               " are missing here and are fetched again: " + std::to_string(lost.size()));
    lookAtAllOf(work.mailbox);
    parts_.state.change(work.mailbox.number, {}, lost);
    work.arrived.insert(work.arrived.end(), lost.begin(), lost.end());
    return {};
}

// The next time, should this pass be cut off: what is forgotten is no change at the server.
void SyncPass::lookAtAllOf(MirroredMailbox& mailbox) {
    mailbox.modSeq = 0;
    parts_.state.putMailbox(mailbox);
}

Result<void> SyncPass::pushFlags(const MirroredMailbox& mailbox, const PushPlan& plan) {
    std::vector<MirroredMessage> agreed;
    for (const auto& [bits, uids] : plan.flagsThere) {
        if (auto done = selected(mailbox); !done) return done;
        const auto& [set, clear] = bits;
        auto stored = parts_.line.store(uids, ImapChange::Add, serverFlags(set));
        if (stored) stored = parts_.line.store(uids, ImapChange::Remove, serverFlags(clear));
        if (stored) {
            busyInARow_ = 0;
        } else {
            if (auto still = goOnAfter(stored.error(), mailbox.folder); !still) return still;
            continue;
        }
        for (const MirroredMessage& message : plan.agreed)
            if (uids.contains(message.uid)) agreed.push_back(message);
    }
    parts_.state.change(mailbox.number, agreed, {});
    return {};
}

Result<void> SyncPass::upload(Work& work) {
    const MirroredMailbox& mailbox = work.mailbox;
    // What the server did not tell of must be found there before anything is said to be missing.
    if (!work.isPulled || work.mailbox.order == MirroredMailbox::Order::Remove || pullAgain_.contains(mailbox.folder))
        return {};
    const auto plan = planFor(mailbox);
    if (!plan) return failed(plan);
    const auto accepted = acceptedIn(mailbox.folder);
    std::vector<std::string> names = plan->onlyHere;
    // One that the server never takes must not stand before the others for ever.
    auto& later = parts_.troubles.later;
    std::stable_partition(names.begin(), names.end(), [&](const std::string& name) { return !later.contains(name); });
    for (const std::string& name : names) {
        // It waits to be moved from there.
        if (!parts_.state.mailboxesWith(name).empty() || !mayUpload(name) || accepted.contains(name)) continue;
        const auto settled = settleCopy(mailbox, name);
        if (!settled) return failed(settled);
        if (*settled) continue;
        if (auto done = uploadOne(mailbox, name); !done) {
            if (auto still = goOnAfter(done.error(), mailbox.folder); !still) return still;
            if (isMailboxMissing(done.error())) return {};
            if (!isForNow(done.error())) continue;
            if (!later.insert(name).second) later.clear();  // all of them had their turn
            return {};
        }
        later.erase(name);
    }
    return {};
}

bool SyncPass::mayUpload(const std::string& name) const {
    return !parts_.troubles.refused.contains(name) && !parts_.troubles.noRoom.contains(name);
}

void SyncPass::noteRefusedUpload(const MirroredMailbox& mailbox, const std::string& name, const Error& error) {
    // Without an answer nobody knows whether it is there, and the next look at the mailbox tells. But one over which
    // the server stumbles each time would keep everything else back.
    if (!parts_.line.isOpen() && !isCutOver(name, error, kMostCuts)) return;
    if (parts_.line.isOpen() && (isForNow(error) || isMailboxMissing(error))) return;
    const bool isFull = imapResponseCode(error) == "OVERQUOTA";
    (isFull ? parts_.troubles.noRoom : parts_.troubles.refused).insert(name);
    tellOnce(name, "A message can't be put into “" + shownPath(mailbox.folder) + "” at the server. It stays here. " +
                       error.description);
}

Result<void> SyncPass::uploadOne(const MirroredMailbox& mailbox, const std::string& name) {
    const auto file = tree_.open(mailbox.folder, name);
    const auto header = file ? headerOf(sourceOf(file->content)) : Result<std::string>(failed(file));
    const auto size = header ? lengthOf(withNetworkLineEnds(sourceOf(file->content))) : failed(header);
    if (!size) return {};  // gone meanwhile, or nobody can read it, which the library tells
    const auto here = tree_.messagesIn(mailbox.folder);
    // Some refuse a message for a flag that they do not keep.
    const int flags = here && (*here)->contains(name) ? (*here)->at(name) & mailbox.keptFlags : 0;
    parts_.state.beginUpload({mailbox.folder, name, headerDigest(*header), *size});
    const auto appended = parts_.line.append(ImapMailboxName::fromWire(mailbox.serverName),
                                             SizedSource(*size, withNetworkLineEnds(sourceOf(file->content))),
                                             serverFlags(flags), MaildirName::timeIn(name).value_or(file->modified));
    if (!appended) {
        if (parts_.line.isOpen()) parts_.state.endUploads(mailbox.folder, {name});
        noteRefusedUpload(mailbox, name, appended.error());
        return failed(appended);
    }
    busyInARow_ = 0;
    parts_.troubles.cut.erase(name);
    if (goneWhileMoved_.contains(name))
        parts_.tellPerson("A message was deleted at the server while it was moved here. It was kept, and put back "
                          "there into the mailbox that it was moved to.");
    if (appended->uid != 0 && appended->uidValidity == mailbox.uidValidity) {
        parts_.state.change(mailbox.number, {{appended->uid, name, flags}}, {});
        // At Gmail its number is learnt before its other copies arrive.
        if (isGmail()) pullAgain_.insert(mailbox.folder);
    } else {
        parts_.state.acceptUploads(mailbox.folder, {name});
        pullAgain_.insert(mailbox.folder);
    }
    return {};
}

}  // namespace qs
