// What was done here to one mailbox, done at the server.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/FolderName.h"
#include "Maildir/MaildirName.h"

namespace qs {

namespace {

const int kDeleted = packedFromServer({"\\Deleted"});

ImapUidSet setOf(const std::vector<MirroredMessage>& messages) {
    ImapUidSet uids;
    for (const MirroredMessage& message : messages)
        uids.add(message.uid);
    return uids;
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
           std::any_of(plan->onlyHere.begin(), plan->onlyHere.end(), [&](const std::string& name) {
               return !parts_.refused.contains(name) && !accepted.contains(name);
           });
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
    for (const auto& [folder, messages] : plan->moves)
        if (auto done = orGoOn(moveThere(work.mailbox, folder, messages)); !done) return done;
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
        if (!stored) {
            if (auto still = goOnAfter(stored.error(), mailbox.folder); !still) return still;
            continue;
        }
        for (const MirroredMessage& message : plan.agreed)
            if (uids.contains(message.uid)) agreed.push_back(message);
    }
    parts_.state.change(mailbox.number, agreed, {});
    return {};
}

// By MOVE, else by a copy that the server has confirmed; what it has not confirmed is looked for before anything goes.
Result<void> SyncPass::moveThere(const MirroredMailbox& mailbox, const std::string& folder,
                                 const std::vector<MirroredMessage>& all) {
    const auto target = ensureMailbox(folder);
    if (!target) return failed(target);
    // What was copied, and can't be told from others there, would be copied again and again.
    std::vector<MirroredMessage> messages(all);
    const auto accepted = acceptedIn(folder);
    std::erase_if(messages, [&](const MirroredMessage& message) { return accepted.contains(message.name); });
    if (messages.empty()) return {};
    if (auto done = selected(mailbox); !done) return done;
    const bool moves = parts_.line.has("MOVE");
    const auto name = ImapMailboxName::fromWire(target->serverName);
    const auto copied = moves ? parts_.line.move(setOf(messages), name) : parts_.line.copy(setOf(messages), name);
    if (!copied) return failed(copied);
    // A mailbox of which nothing is known yet is taken up as a whole, which finds them.
    const bool isTold = copied->uidValidity != 0 && copied->uidValidity == target->uidValidity;
    std::map<std::uint32_t, const MirroredMessage*> byUid;
    std::vector<std::string> names;
    for (const MirroredMessage& message : messages) {
        byUid[message.uid] = &message;
        names.push_back(message.name);
    }
    std::vector<MirroredMessage> confirmed;
    for (std::size_t i = 0; isTold && i < std::min(copied->source.size(), copied->target.size()); ++i) {
        const auto found = byUid.find(copied->source[i]);
        if (found == byUid.end()) continue;
        // At Gmail it may have been shown elsewhere, too, and is no more.
        for (const auto& place : parts_.state.gmailPlaces(parts_.state.gmailNumber(mailbox.number, found->first)))
            if (const auto other = parts_.state.mailboxNumbered(place.mailbox);
                other && other->number != mailbox.number && other->number != target->number)
                pullAgain_.insert(other->folder);
        const MirroredMessage there{copied->target[i], found->second->name, found->second->flags};
        confirmed.push_back(*found->second);
        // At Gmail it may have been in the target already, under another name.
        if (isGmail() && parts_.state.knows(target->number, there.uid)) {
            parts_.state.change(mailbox.number, {}, {found->first});
            parts_.state.forgetGmailNumbers(mailbox.number, {found->first});
            if (const auto box = boxOf(folder))
                if (auto dropped = parts_.library.dropMirrored(*box, {there.name}); !dropped) return dropped;
            continue;
        }
        if (moves)
            parts_.state.moveMessage(mailbox.number, found->first, target->number, there);
        else
            parts_.state.change(target->number, {there}, {});
    }
    if (!isTold) {
        pullAgain_.insert(folder);
        parts_.state.acceptUploads(folder, names);
    }
    if (!isTold && moves) {
        std::vector<std::uint32_t> gone;
        for (const MirroredMessage& message : messages)
            gone.push_back(message.uid);
        lookAtAllOf(works_[mailbox.folder].mailbox);
        parts_.state.change(mailbox.number, {}, gone);
    }
    if (!moves && !confirmed.empty()) return expungeThere(mailbox, confirmed);
    return {};
}

// Where nothing can be expunged, they stay as they are.
std::vector<MirroredMessage> SyncPass::withoutMarked(const std::vector<MirroredMessage>& messages) {
    std::vector<MirroredMessage> rest(messages);
    if (!parts_.line.has("UIDPLUS"))
        std::erase_if(rest, [](const MirroredMessage& each) { return (each.flags & kDeleted) != 0; });
    return rest;
}

Result<void> SyncPass::expungeThere(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages) {
    if (auto done = selected(mailbox); !done) return done;
    const ImapUidSet uids = setOf(messages);
    if (auto stored = parts_.line.store(uids, ImapChange::Add, {"\\Deleted"}); !stored) return failed(stored);
    const auto expunged = parts_.line.expunge(uids);
    // Without UIDPLUS they stay there, marked: a bare EXPUNGE would take what others have marked as well.
    if (!expunged && imapFailure(expunged.error()) == ImapFailure::NotOffered) {
        std::vector<MirroredMessage> marked(messages);
        for (MirroredMessage& message : marked)
            message.flags |= kDeleted;
        parts_.state.change(mailbox.number, marked, {});
        return {};
    }
    if (!expunged) return expunged;
    std::vector<std::uint32_t> gone;
    for (const MirroredMessage& message : messages)
        gone.push_back(message.uid);
    parts_.state.change(mailbox.number, {}, gone);
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
    for (const std::string& name : plan->onlyHere) {
        // It waits to be moved from there.
        if (!parts_.state.mailboxesWith(name).empty() || parts_.refused.contains(name) || accepted.contains(name))
            continue;
        const auto settled = settleCopy(mailbox, name);
        if (!settled) return failed(settled);
        if (*settled) continue;
        if (auto done = uploadOne(mailbox, name); !done) {
            if (auto still = goOnAfter(done.error(), mailbox.folder); !still) return still;
            if (isForNow(done.error())) return {};
        }
    }
    return {};
}

Result<void> SyncPass::uploadOne(const MirroredMailbox& mailbox, const std::string& name) {
    const auto file = tree_.open(mailbox.folder, name);
    const auto header = file ? headerOf(sourceOf(file->content)) : Result<std::string>(failed(file));
    const auto size = header ? lengthOf(withNetworkLineEnds(sourceOf(file->content))) : failed(header);
    if (!size) return {};  // gone meanwhile, or nobody can read it, which the library tells
    const auto here = tree_.messagesIn(mailbox.folder);
    const int flags = here && (*here)->contains(name) ? (*here)->at(name) : 0;
    parts_.state.beginUpload({mailbox.folder, name, headerDigest(*header), *size});
    const auto appended = parts_.line.append(ImapMailboxName::fromWire(mailbox.serverName),
                                             SizedSource(*size, withNetworkLineEnds(sourceOf(file->content))),
                                             serverFlags(flags), MaildirName::timeIn(name).value_or(file->modified));
    if (!appended) {
        // Without an answer nobody knows whether it is there, and the next look at the mailbox tells.
        if (!parts_.line.isOpen()) return failed(appended);
        parts_.state.endUploads(mailbox.folder, {name});
        if (!isForNow(appended.error())) {
            parts_.refused.insert(name);
            parts_.tellPerson("A message can't be put into “" + pathFromFolderName(mailbox.folder) +
                              "” at the server. It stays here. " + appended.error().description);
        }
        return failed(appended);
    }
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
