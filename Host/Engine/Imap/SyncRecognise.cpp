// Messages that are new to what is known of the server, and are here already: bound to their files, not fetched again.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Imap/MirroredName.h"
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

// Servers put a sent copy there by themselves, with headers of their own.
constexpr std::string_view kSent = "Sent";

}  // namespace

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

}  // namespace qs
