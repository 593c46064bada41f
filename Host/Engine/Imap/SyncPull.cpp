// What the server did to one mailbox, taken over here.
#include <algorithm>

#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"

namespace qs {

namespace {

void note(ServerView& view, const ImapMessage& message) {
    if (message.uid == 0) return;
    if (message.flags) view.flags[message.uid] = packedFromServer(*message.flags);
    if (message.gmailMessage != 0) view.gmail[message.uid] = message.gmailMessage;
}

constexpr std::size_t kChangedAtOnce = 500;

}  // namespace

Result<bool> SyncPass::isUnchanged(const MirroredMailbox& mailbox) {
    const auto status = parts_.line.status(ImapMailboxName::fromWire(mailbox.serverName));
    if (!status) return failed(status);
    return status->highestModSeq != 0 && status->highestModSeq == mailbox.modSeq &&
           status->uidValidity == mailbox.uidValidity && status->uidNext == mailbox.uidNext &&
           // Without QRESYNC a message may go and leave everything else as it was.
           (parts_.line.has("QRESYNC") || status->messages == countKnown(mailbox));
}

Result<ImapSelection> SyncPass::selectAnew(Work& work, std::vector<MirroredMessage>& known) {
    MirroredMailbox& mailbox = work.mailbox;
    selected_.clear();
    std::optional<ImapKnownState> before;
    if (mailbox.modSeq != 0) before = {.uidValidity = mailbox.uidValidity, .modSeq = mailbox.modSeq, .uids = {}};
    const auto selection = parts_.line.select(ImapMailboxName::fromWire(mailbox.serverName), before);
    if (!selection) return failed(selection);
    selected_ = mailbox.serverName;
    mailbox.keptFlags = keptFlags(*selection);
    if (selection->uidValidity == 0 && mailbox.uidValidity != 0)
        return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Refused),
                       "The server does not tell how it counts the messages.");
    known = parts_.state.messages(mailbox.number);
    if (selection->uidValidity != mailbox.uidValidity) {
        if (mailbox.uidValidity != 0)
            logWarning("the server counts the messages of “" + mailbox.folder + "” of " + parts_.account + " anew");
        mailbox.uidValidity = selection->uidValidity;
        mailbox.modSeq = mailbox.uidNext = 0;
        work.before = std::exchange(known, {});
        work.leftBefore.clear();
    }
    return selection;
}

Result<void> SyncPass::pull(Work& work, bool isLikelyChanged) {
    MirroredMailbox& mailbox = work.mailbox;
    work = {.mailbox = mailbox, .uidNext = mailbox.uidNext, .modSeq = mailbox.modSeq};
    const auto unfetched = parts_.state.unfetched(mailbox.number);
    work.leftBefore = {unfetched.begin(), unfetched.end()};
    if (!isLikelyChanged && mailbox.modSeq != 0 && unfetched.empty()) {
        const auto same = isUnchanged(mailbox);
        if (!same) return failed(same);
        if (*same) {
            endDoubtfulUploads(mailbox);
            work.isPulled = true;
            return {};
        }
    }
    std::vector<MirroredMessage> known;
    const auto selection = selectAnew(work, known);
    if (!selection) return failed(selection);
    auto view = look(work, known, *selection);
    if (!view) return failed(view);
    // A file that is renamed during the look would otherwise seem to be lost.
    auto here = tree_.lookAgain(mailbox.folder);
    if (!here) return failed(here);
    if (auto still = isStill(mailbox); !still) return still;
    parts_.state.noteGmailNumbers(mailbox.number, view->gmail);
    PullPlan plan = planPull(known, *view, **here, mailbox.keptFlags);
    if (auto applied = apply(mailbox, plan); !applied) return applied;
    parts_.state.forgetGmailNumbers(mailbox.number, view->gmailGone);
    work.arrived = std::move(plan.arrived);
    takeUpUnfetched(work, *view);
    const bool isCountedAnew = work.before.has_value();
    if (auto recognised = recognise(work, view->flags); !recognised) {
        work.arrived.clear();
        return recognised;
    }
    // What was known again has flags that both sides agreed on before; what became of these since is seen now.
    if (isCountedAnew) {
        if (here = tree_.lookAgain(mailbox.folder); !here) return failed(here);
        plan = planPull(parts_.state.messages(mailbox.number), *view, **here, mailbox.keptFlags);
        if (auto applied = apply(mailbox, plan); !applied) return applied;
    }
    work.uidNext = selection->uidNext;
    // What could not be taken over yet is to be told again.
    work.modSeq = plan.isWhole ? selection->highestModSeq : mailbox.modSeq;
    return concludePull(work, *view);
}

Result<void> SyncPass::concludePull(Work& work, ServerView& view) {
    const MirroredMailbox& mailbox = work.mailbox;
    tellNumbers(mailbox, view);
    leaveOutTaken(work);
    for (const std::uint32_t uid : work.arrived)
        if (isGmail()) work.arrivedFlags[uid] = view.flags[uid];
    work.flags = std::move(view.flags);
    const bool isAwaited = !work.arrived.empty();
    leaveOutRefused(work);
    work.isAwaited = mailbox.order == MirroredMailbox::Order::Remove && isAwaited;
    if (work.isAwaited && !areMovedOut(work))
        return takeBackRemoval(work,
                               "New mail has come into “%@” before it was deleted at the server. It is back, with the "
                               "new mail alone.",
                               true);
    work.isPulled = true;
    return {};
}

Result<ServerView> SyncPass::look(Work& work, const std::vector<MirroredMessage>& known,
                                  const ImapSelection& selection) {
    ServerView view;
    const auto each = [&view](const ImapMessage& message) { note(view, message); };
    const std::uint64_t since = work.mailbox.modSeq;
    // A server that has fallen behind what it told before knows nothing of the changes since: it was set back.
    if (since == 0 || selection.highestModSeq < since) {
        view.isComplete = true;
        if (selection.messages == 0) {
            // None is also what a server says that leaves the number out.
            view.isComplete = known.empty();
            if (view.isComplete)
                noteGmailGone(work.mailbox, nullptr, view);
            else if (auto noted = noteMissing(work, known, selection, view); !noted)
                return failed(noted);
            return view;
        }
        if (auto done = parts_.line.fetch(ImapUidSet::all(), {.gmail = isGmail()}, each); !done) return failed(done);
        if (view.flags.size() < selection.messages) {
            // What an answer leaves out need not be gone.
            view.isComplete = false;
            if (auto noted = noteMissing(work, known, selection, view); !noted) return failed(noted);
            return view;
        }
        noteGmailGone(work.mailbox, nullptr, view);
        return view;
    }
    if (selection.tellsChanges) {
        view.vanished = selection.vanished;
        for (const ImapMessage& message : selection.changed)
            note(view, message);
    } else {
        if (auto done = parts_.line.fetch(ImapUidSet::all(), {.gmail = isGmail(), .changedSince = since}, each); !done)
            return failed(done);
        if (auto noted = noteMissing(work, known, selection, view); !noted) return failed(noted);
    }
    // Whatever is new changed, too. Should a server see that differently, nothing new may be missed.
    if (selection.uidNext > work.mailbox.uidNext)
        if (auto done = parts_.line.fetch(ImapUidSet::from(work.mailbox.uidNext), {.gmail = isGmail()}, each); !done)
            return failed(done);
    return view;
}

Result<void> SyncPass::noteMissing(const Work& work, const std::vector<MirroredMessage>& known,
                                   const ImapSelection& selection, ServerView& view) {
    auto present = parts_.line.search({});
    if (!present) return failed(present);
    // Fewer than there are: a search is no more to be believed than a look, and only what both leave out is gone.
    if (present->count() < selection.messages) {
        const auto seen = parts_.line.fetch(ImapUidSet::all(), {.gmail = isGmail()},
                                            [&](const ImapMessage& message) { note(view, message); });
        if (!seen) return failed(seen);
        for (const auto& [uid, flags] : view.flags)
            present->add(uid);
    }
    ImapUidSet gone;
    for (const MirroredMessage& message : known)
        gone.add(message.uid);
    for (const std::uint32_t uid : work.leftBefore)
        gone.add(uid);
    ImapUidSet unseen = *present;
    unseen.remove(gone);
    gone.remove(*present);
    view.vanished.add(gone);
    noteGmailGone(work.mailbox, &*present, view);
    return askForUnseen(std::move(unseen), view);
}

// New ones that the look left out: their numbers may never be told again as changed.
Result<void> SyncPass::askForUnseen(ImapUidSet unseen, ServerView& view) {
    ImapUidSet seen;
    for (const auto& [uid, flags] : view.flags)
        seen.add(uid);
    unseen.remove(seen);
    if (unseen.isEmpty()) return {};
    auto done =
        parts_.line.fetch(unseen, {.gmail = isGmail()}, [&](const ImapMessage& message) { note(view, message); });
    if (!done) return done;
    // Still left out, they are asked for as a whole, which may bring them, or is remembered as refused.
    for (const std::uint32_t uid : unseen.uids())
        view.flags.try_emplace(uid, 0);
    return {};
}

Result<void> SyncPass::apply(const MirroredMailbox& mailbox, const PullPlan& plan) {
    if (!plan.flagsHere.empty() || !plan.drop.empty()) {
        const auto box = boxOf(mailbox.folder);
        if (!box)
            return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there.");
        // The person may want to change something in between.
        for (auto each = plan.flagsHere.begin(); each != plan.flagsHere.end();) {
            std::map<std::string, FlagBits> batch;
            for (; each != plan.flagsHere.end() && batch.size() < kChangedAtOnce; ++each)
                batch.insert(*each);
            if (auto done = parts_.library.setMirroredFlags(*box, batch); !done) return done;
        }
        for (std::size_t at = 0; at < plan.drop.size(); at += kChangedAtOnce) {
            const auto begin = plan.drop.begin() + static_cast<std::ptrdiff_t>(at);
            const auto count = static_cast<std::ptrdiff_t>(std::min(kChangedAtOnce, plan.drop.size() - at));
            if (auto done = parts_.library.dropMirrored(*box, {begin, begin + count}); !done) return done;
        }
    }
    for (const MirroredMessage& message : plan.gone)
        if (!parts_.state.isRemoved(message.name)) goneWhileMoved_.insert(message.name);
    parts_.state.change(mailbox.number, plan.agreed, plan.forget);
    tree_.forget(mailbox.folder);
    return {};
}

void SyncPass::takeUpUnfetched(Work& work, const ServerView& view) {
    const bool isRemoved = work.mailbox.order == MirroredMailbox::Order::Remove;
    const auto wishes = isRemoved ? parts_.state.wishes() : std::map<std::string, MirrorWish>();
    std::set<std::uint32_t> arrived(work.arrived.begin(), work.arrived.end());
    for (const std::uint32_t uid : work.leftBefore) {
        if (isGone(view, uid) || parts_.state.knows(work.mailbox.number, uid)) continue;
        // What nobody wants goes with the mailbox.
        if (isRemoved && !wishes.contains(mirroredName(work.mailbox, uid))) continue;
        if (arrived.insert(uid).second) work.arrived.push_back(uid);
    }
}

void SyncPass::leaveOutRefused(Work& work) {
    std::erase_if(work.arrived, [&](std::uint32_t uid) {
        const bool isRefused = parts_.troubles.refused.contains(mirroredName(work.mailbox, uid));
        if (isRefused) work.left.insert(uid);
        return isRefused;
    });
}

}  // namespace qs
