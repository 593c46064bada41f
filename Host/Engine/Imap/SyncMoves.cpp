// Messages that were moved or erased here, moved and expunged at the server.
#include <algorithm>

#include "Imap/ImapError.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"

namespace qs {

namespace {

const int kDeleted = packedFromServer({"\\Deleted"});
// Few enough for one command, whatever their uids, so that its answer is kept before the next one goes out.
constexpr std::size_t kMovedAtOnce = 500;

ImapUidSet setOf(const std::vector<MirroredMessage>& messages) {
    ImapUidSet uids;
    for (const MirroredMessage& message : messages)
        uids.add(message.uid);
    return uids;
}

}  // namespace

Result<void> SyncPass::moveThere(const MirroredMailbox& mailbox, const std::string& folder,
                                 const std::vector<MirroredMessage>& all) {
    const auto target = ensureMailbox(folder);
    if (!target) return failed(target);
    // What was copied, and can't be told from others there, would be copied again and again.
    std::vector<MirroredMessage> messages(all);
    const auto accepted = acceptedIn(folder);
    std::erase_if(messages, [&](const MirroredMessage& message) { return accepted.contains(message.name); });
    for (std::size_t at = 0; at < messages.size(); at += kMovedAtOnce) {
        const auto begin = messages.begin() + static_cast<std::ptrdiff_t>(at);
        const auto count = static_cast<std::ptrdiff_t>(std::min(kMovedAtOnce, messages.size() - at));
        if (auto done = moveSome(mailbox, *target, {begin, begin + count}); !done) return done;
    }
    return {};
}

// By MOVE, else by a copy that the server has confirmed; what it has not confirmed is looked for before anything goes.
Result<void> SyncPass::moveSome(const MirroredMailbox& mailbox, const MirroredMailbox& target,
                                const std::vector<MirroredMessage>& messages) {
    if (auto done = selected(mailbox); !done) return done;
    const bool moves = parts_.line.has("MOVE");
    const auto name = ImapMailboxName::fromWire(target.serverName);
    const auto copied = moves ? parts_.line.move(setOf(messages), name) : parts_.line.copy(setOf(messages), name);
    if (!copied) return failed(copied);
    busyInARow_ = 0;
    // A mailbox of which nothing is known yet is taken up as a whole, which finds them.
    if (copied->uidValidity == 0 || copied->uidValidity != target.uidValidity) {
        noteUntold(mailbox, target, messages, *copied, moves);
        return {};
    }
    std::map<std::uint32_t, const MirroredMessage*> byUid;
    for (const MirroredMessage& message : messages)
        byUid[message.uid] = &message;
    std::vector<MirroredMessage> confirmed;
    std::vector<MirrorState::Moved> moved;
    std::vector<std::string> twice;
    for (std::size_t i = 0; i < std::min(copied->source.size(), copied->target.size()); ++i) {
        const auto found = byUid.find(copied->source[i]);
        if (found == byUid.end()) continue;
        const MirroredMessage& message = *found->second;
        confirmed.push_back(message);
        // At Gmail it may have been shown elsewhere, too, and is no more; or in the target already, under another name.
        const bool wasThere = isGmail() && parts_.state.knows(target.number, copied->target[i]);
        pullOthersThatShow(mailbox, target, message.uid);
        moved.push_back({.uid = message.uid,
                         .there = {wasThere ? 0 : copied->target[i], message.name, message.flags},
                         .stays = !moves});
        if (wasThere) twice.push_back(message.name);
    }
    if (const auto box = twice.empty() ? nullptr : boxOf(target.folder))
        if (auto dropped = parts_.library.dropMirrored(*box, twice); !dropped) return dropped;
    parts_.state.moveMessages(mailbox.number, target.number, moved);
    if (!moves && !confirmed.empty()) return expungeThere(mailbox, confirmed);
    return {};
}

void SyncPass::pullOthersThatShow(const MirroredMailbox& mailbox, const MirroredMailbox& target, std::uint32_t uid) {
    for (const auto& place : parts_.state.gmailPlaces(parts_.state.gmailNumber(mailbox.number, uid)))
        if (const auto other = parts_.state.mailboxNumbered(place.mailbox);
            other && other->number != mailbox.number && other->number != target.number)
            pullAgain_.insert(other->folder);
}

void SyncPass::noteUntold(const MirroredMailbox& mailbox, const MirroredMailbox& target,
                          const std::vector<MirroredMessage>& messages, const ImapCopied& copied, bool moves) {
    // Those that the server names are there, at least.
    std::vector<MirroredMessage> taken(messages);
    if (copied.uidValidity != 0)
        std::erase_if(taken, [&](const MirroredMessage& message) {
            return std::find(copied.source.begin(), copied.source.end(), message.uid) == copied.source.end();
        });
    pullAgain_.insert(target.folder);
    Untold& untold = untold_[target.folder];
    for (const MirroredMessage& message : taken)
        untold.names.insert(message.name);
    if (const auto work = works_.find(target.folder); work != works_.end())
        untold.others.insert(work->second.arrived.begin(), work->second.arrived.end());
    if (moves) {
        Work& work = works_[mailbox.folder];
        work.mailbox.modSeq = work.modSeq = 0;
        parts_.state.moveUntold(mailbox.number, taken, target.folder);
        return;
    }
    std::vector<std::string> names;
    for (const MirroredMessage& message : taken)
        names.push_back(message.name);
    parts_.state.acceptUploads(target.folder, names);
}

// All that has come into the mailbox since is accounted for, so there was nothing to be moved: another client had
// removed them just before. They are only here now, and are put there like anything else that is.
void SyncPass::endUntold(const Work& work) {
    const auto untold = untold_.extract(work.mailbox.folder);
    if (!untold) return;
    if (std::any_of(work.arrived.begin(), work.arrived.end(),
                    [&](std::uint32_t uid) { return !untold.mapped().others.contains(uid); }))
        return;
    std::vector<std::string> ended;
    for (const std::string& name : untold.mapped().names) {
        const auto bound = parts_.state.mailboxesWith(name);
        if (std::find(bound.begin(), bound.end(), work.mailbox.number) == bound.end()) ended.push_back(name);
    }
    parts_.state.endUploads(work.mailbox.folder, ended);
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

}  // namespace qs
