// What the server did to one mailbox, taken over here.
#include <algorithm>
#include <unordered_map>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "Mail/MessageHeaders.h"
#include "MailLibrary.h"
#include "Mime/MimeMessage.h"

namespace qs {

namespace {

ImapUidSet setOf(const std::vector<std::uint32_t>& uids) {
    ImapUidSet set;
    // Ascending, each is put at the end.
    std::vector<std::uint32_t> sorted(uids);
    std::sort(sorted.begin(), sorted.end());
    for (const std::uint32_t uid : sorted)
        set.add(uid);
    return set;
}

void note(ServerView& view, const ImapMessage& message) {
    if (message.uid == 0) return;
    if (message.flags) view.flags[message.uid] = packedFromServer(*message.flags);
    if (message.gmailMessage != 0) view.gmail[message.uid] = message.gmailMessage;
}

// Servers put a sent copy there by themselves, with headers of their own.
constexpr std::string_view kSent = "Sent";
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
    auto known = parts_.state.messages(mailbox.number);
    if (selection->uidValidity != mailbox.uidValidity) {
        if (mailbox.uidValidity != 0)
            logWarning("the server counts the messages of “" + mailbox.folder + "” of " + parts_.account + " anew");
        mailbox.uidValidity = selection->uidValidity;
        mailbox.modSeq = mailbox.uidNext = 0;
        work.before = std::exchange(known, {});
        work.leftBefore.clear();
    }
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
    tellNumbers(mailbox, *view);
    leaveOutTaken(work);
    for (const std::uint32_t uid : work.arrived)
        if (isGmail()) work.arrivedFlags[uid] = view->flags[uid];
    work.flags = std::move(view->flags);
    work.uidNext = selection->uidNext;
    // What could not be taken over yet is to be told again.
    work.modSeq = plan.isWhole ? selection->highestModSeq : mailbox.modSeq;
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
    auto done = parts_.line.fetch(unseen, {.gmail = isGmail()}, [&](const ImapMessage& message) { note(view, message); });
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

Result<void> SyncPass::recognise(Work& work, const std::map<std::uint32_t, int>& flags) {
    const MirroredMailbox& mailbox = work.mailbox;
    std::map<std::string, int> agreed;
    for (const MirroredMessage& message : work.before.value_or(std::vector<MirroredMessage>()))
        agreed[message.name] = message.flags;
    std::vector<MirroredMessage> bound;
    std::set<std::string> known;
    const auto find = [&](std::uint32_t uid, const std::string& name) {
        const int there = flags.contains(uid) ? flags.at(uid) : 0;
        bound.push_back({uid, name, agreed.contains(name) ? agreed.at(name) : there});
        known.insert(name);
    };
    std::set<std::string> removed;
    for (const MirrorState::Removal& removal : parts_.state.removals())
        removed.insert(removal.name);
    // Files that were written before a crash kept the state from saying so.
    for (const std::uint32_t uid : work.arrived) {
        const std::string name = mirroredName(mailbox, uid);
        const auto folders = tree_.foldersWith(name);
        if (!folders) return failed(folders);
        if ((!folders->empty() || removed.contains(name)) && parts_.state.mailboxesWith(name).empty()) find(uid, name);
    }
    if (auto done = recogniseCopies(work, find); !done) return done;
    std::set<std::uint32_t> found;
    for (const MirroredMessage& each : bound)
        found.insert(each.uid);
    std::erase_if(work.arrived, [&](std::uint32_t uid) { return found.contains(uid); });
    const auto possible = candidates(work, known);
    if (!possible) return failed(possible);
    const auto matched = match(work, *possible);
    if (!matched) return failed(matched);
    for (const auto& [uid, name] : *matched)
        find(uid, name);
    std::erase_if(work.arrived, [&](std::uint32_t uid) { return matched->contains(uid); });
    if (work.before)
        parts_.state.countAnew(mailbox, bound);
    else
        parts_.state.change(mailbox.number, bound, {});
    work.before.reset();
    endUntold(work);
    endDoubtfulUploads(mailbox);
    return {};
}

// The server has been asked: those that were not found never came to an end there.
void SyncPass::endDoubtfulUploads(const MirroredMailbox& mailbox) {
    std::vector<std::string> ended;
    const auto here = tree_.messagesIn(mailbox.folder);
    for (const Upload& upload : parts_.state.uploads(mailbox.folder))
        if (!upload.isAccepted || (here && !(*here)->contains(upload.name))) ended.push_back(upload.name);
    parts_.state.endUploads(mailbox.folder, ended);
}

// What is here, or was when it was uploaded, and has no uid in this mailbox.
Result<std::vector<SyncPass::Candidate>> SyncPass::candidates(const Work& work, std::set<std::string> known) {
    const MirroredMailbox& mailbox = work.mailbox;
    std::vector<Candidate> all;
    if (work.arrived.empty()) return all;
    if (!work.before)
        for (const MirroredMessage& message : parts_.state.messages(mailbox.number))
            known.insert(message.name);
    const std::set<std::string> accepted = acceptedIn(mailbox.folder);
    for (const Upload& upload : parts_.state.uploads(mailbox.folder))
        if (!upload.isAccepted && known.insert(upload.name).second)
            all.push_back({upload.name, upload.headerDigest, {}, upload.size});
    const bool areExpected = work.before || pullAgain_.contains(mailbox.folder);
    const auto here = tree_.messagesIn(mailbox.folder);
    if (!here) return failed(here);
    std::map<std::string, std::string> folderOf;
    for (const auto& [name, flags] : **here)
        folderOf[name] = mailbox.folder;
    // Moved elsewhere since, of which a server that counts anew knows nothing yet.
    for (const MirroredMessage& message : work.before.value_or(std::vector<MirroredMessage>())) {
        const auto folders = tree_.foldersWith(message.name);
        if (!folders) return failed(folders);
        if (!folders->empty()) folderOf.emplace(message.name, folders->front());
    }
    for (const auto& [name, folder] : folderOf) {
        if (known.contains(name)) continue;
        const auto file = tree_.open(folder, name);
        const auto header = file ? headerOf(sourceOf(file->content)) : Result<std::string>(failed(file));
        const auto size = header ? lengthOf(withNetworkLineEnds(sourceOf(file->content))) : failed(header);
        if (!size) continue;  // gone meanwhile
        const bool isExpected = areExpected || accepted.contains(name);
        const std::string messageID =
            mailbox.folder == kSent || isExpected
                ? parseHeaders(*header)->firstMessageIDForKey(MCHeaderKeyMessageId).value_or("")
                : "";
        all.push_back({name, headerDigest(*header), messageID, *size, isExpected});
    }
    return all;
}

Result<SyncPass::Matched> SyncPass::match(const Work& work, const std::vector<Candidate>& possible) {
    Matched matched;
    if (possible.empty()) return matched;
    std::vector<const Candidate*> all;
    std::set<std::uint64_t> sizes;
    for (const Candidate& each : possible) {
        all.push_back(&each);
        sizes.insert(each.size);
    }
    // What a server puts there by itself looks as it likes.
    const bool looksAtAll = work.mailbox.folder == kSent;
    std::vector<std::uint32_t> alike;
    std::map<std::uint32_t, std::uint64_t> sizeOf;
    auto done = parts_.line.fetch(setOf(work.arrived), {.flags = false, .size = true}, [&](const ImapMessage& message) {
        sizeOf[message.uid] = message.size.value_or(0);
        if (sizes.contains(message.size.value_or(0)) || looksAtAll) alike.push_back(message.uid);
    });
    if (done) done = matchHeaders(alike, all, &sizeOf, matched);
    if (!done) return failed(done);
    // Some servers add lines of their own, or tell sizes that are mere guesses.
    std::set<std::string> taken;
    for (const auto& [uid, name] : matched)
        taken.insert(name);
    std::erase_if(all, [&](const Candidate* each) { return !each->isExpected || taken.contains(each->name); });
    std::vector<std::uint32_t> rest;
    for (const std::uint32_t uid : work.arrived)
        if (!matched.contains(uid)) rest.push_back(uid);
    if (done = matchHeaders(rest, all, nullptr, matched); !done) return failed(done);
    return matched;
}

Result<void> SyncPass::matchHeaders(const std::vector<std::uint32_t>& uids,
                                    const std::vector<const Candidate*>& candidates,
                                    const std::map<std::uint32_t, std::uint64_t>* sizes, Matched& matched) {
    if (uids.empty() || candidates.empty()) return {};
    std::multimap<std::string, const Candidate*> byDigest;
    std::map<std::string, const Candidate*> byMessageID;
    for (const Candidate* each : candidates) {
        byDigest.emplace(each->headerDigest, each);
        if (!each->messageID.empty()) byMessageID.emplace(each->messageID, each);
    }
    std::set<std::string> taken;
    const auto take = [&](std::uint32_t uid, const Candidate& candidate) {
        if (!taken.insert(candidate.name).second) return false;
        matched[uid] = candidate.name;
        return true;
    };
    return parts_.line.fetch(
        setOf(uids), {.flags = false, .content = ImapFetch::Content::Header}, [&](const ImapMessage& message) {
            if (!message.content) return;
            const auto [first, last] = byDigest.equal_range(headerDigest(*message.content));
            for (auto each = first; each != last; ++each)
                if ((!sizes || each->second->size == sizes->at(message.uid)) && take(message.uid, *each->second))
                    return;
            if (byMessageID.empty()) return;
            const auto id = parseHeaders(*message.content)->firstMessageIDForKey(MCHeaderKeyMessageId);
            const auto found = byMessageID.find(id.value_or(""));
            if (found != byMessageID.end()) take(message.uid, *found->second);
        });
}

std::set<std::string> SyncPass::acceptedIn(const std::string& folder) {
    std::set<std::string> names;
    for (const Upload& upload : parts_.state.uploads(folder))
        if (upload.isAccepted) names.insert(upload.name);
    return names;
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
