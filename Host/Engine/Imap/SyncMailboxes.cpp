// The list of mailboxes: what is new at the server comes here, what is new here goes there, what is gone there goes
// here as far as the server had it.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirroredName.h"
#include "Imap/SyncPass.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "Maildir/FolderName.h"
#include "Maildir/Maildir.h"

namespace qs {

namespace {

constexpr std::size_t kProofs = 50;  // messages that are compared

std::filesystem::path pathOf(const std::filesystem::path& account, const std::string& folder) {
    return folder.empty() ? account : account / ("." + folder);
}

// A message that came since the last look stays, and with it the folder.
Result<void> removeEmptyMaildir(FileSystem& files, const std::filesystem::path& root) {
    const auto remove = [&](const std::filesystem::path& folder, bool isOfMessages) -> Result<void> {
        if (const auto found = files.list(folder))
            for (const FileInfo& file : *found)
                if (!file.isFolder && (!isOfMessages || file.path.filename().string().starts_with('.')))
                    (void)files.remove(file.path);
        return files.remove(folder);
    };
    Result<void> removed;
    for (const char* part : {"cur", "new"})
        if (removed) removed = remove(root / part, true);
    if (!removed) {
        (void)Maildir(root, files).create(true);
        return removed;
    }
    for (const auto& rest : {root / "tmp", root})
        if (removed) removed = remove(rest, false);
    return removed;
}

}  // namespace

Result<std::vector<ImapMailbox>> SyncPass::listed() {
    auto listed = parts_.line.list();
    if (!listed) return listed;
    const bool hasInbox =
        std::any_of(listed->begin(), listed->end(), [](const auto& each) { return each.name.isInbox(); });
    if (!hasInbox)
        return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Temporary),
                       "The server lists no inbox just now.");
    return listed;
}

Result<void> SyncPass::takeMailboxes() {
    const auto namespaces = parts_.line.namespaces();
    if (!namespaces) return failed(namespaces);
    auto all = listed();
    if (!all) return failed(all);
    prefix_ = namespaces->personal.front().prefix;
    delimiter_ = namespaces->personal.front().delimiter;
    if (delimiter_ == 0) delimiter_ = all->front().delimiter;
    areMailboxesTaken_ = true;
    tree_.forgetFolders();
    const auto pushed = pushRenames(*all);
    if (!pushed) return failed(pushed);
    tree_.forgetFolders();
    if (*pushed)
        if (all = listed(); !all) return failed(all);
    keepThoseMadeAgain();

    const auto before = parts_.state.mailboxes();
    const auto isAsBefore = [&](const MirroredMailbox& mailbox) {
        return std::any_of(before.begin(), before.end(), [&](const MirroredMailbox& each) {
            return each.number == mailbox.number && each.folder == mailbox.folder && each.order == mailbox.order;
        });
    };
    auto folders = foldersFor(*all, prefix_, before, isGmail());
    if (auto renamed = takeRenamed(folders); !renamed) return renamed;
    bool isTreeChanged = false;
    std::set<std::string> removed;
    for (const MirroredMailbox& kept : parts_.state.mailboxes()) {
        if (kept.order == MirroredMailbox::Order::Remove) removed.insert(kept.folder);
        const auto found = folders.find(kept.folder);
        if (found != folders.end() && found->second.wire() == kept.serverName) continue;
        // The person has just renamed or removed it: the next pass takes that up.
        if (!isAsBefore(kept)) continue;
        const auto isGone = isGoneIndeed(kept);
        if (!isGone) return failed(isGone);
        if (!*isGone) continue;
        dropMailbox(kept);
        isTreeChanged = true;
    }
    const auto now = parts_.state.mailboxes();
    for (const auto& [folder, name] : folders) {
        const bool isElsewhere = std::any_of(now.begin(), now.end(),
                                             [&, &place = folder, &wire = name.wire()](const MirroredMailbox& mailbox) {
                                                 return mailbox.serverName == wire && mailbox.folder != place;
                                             });
        if (removed.contains(folder) || isElsewhere) continue;
        if (!parts_.state.mailboxOfFolder(folder))
            parts_.state.putMailbox({.folder = folder, .serverName = name.wire()});
        const Maildir maildir(pathOf(parts_.folder, folder), parts_.files);
        if (maildir.exists()) continue;
        if (auto made = maildir.create(!folder.empty()); !made) return made;
        isTreeChanged = true;
    }
    if (isTreeChanged) parts_.library.accountsDidChange();
    if (parts_.state.isGmail()) takeUses(*all);
    return createMissing();
}

void SyncPass::takeUses(const std::vector<ImapMailbox>& listed) {
    for (const MirroredMailbox& mailbox : parts_.state.mailboxes())
        for (const ImapMailbox& each : listed)
            if (each.name.wire() == mailbox.serverName && useAtGmail(each) != mailbox.use)
                parts_.state.setUse(mailbox.number, useAtGmail(each));
}

// Some servers give all mailboxes the same validity: what the messages are called proves it.
Result<bool> SyncPass::hasMessagesOf(const MirroredMailbox& mailbox, const ImapMailboxName& name) {
    const auto known = parts_.state.messages(mailbox.number);
    std::map<std::uint32_t, std::string> digests;
    const std::size_t step = std::max<std::size_t>(1, known.size() / kProofs);
    for (std::size_t i = 0; i < known.size(); i += step)
        if (const auto file = tree_.open(mailbox.folder, known[i].name))
            if (const auto header = headerOf(sourceOf(file->content))) digests[known[i].uid] = headerDigest(*header);
    ImapUidSet uids;
    for (const auto& [uid, digest] : digests)
        uids.add(uid);
    if (uids.isEmpty()) return known.empty();
    selected_.clear();
    const auto selection = parts_.line.examine(name);
    if (!selection) return failed(selection);
    std::size_t same = 0, others = 0;
    const auto done =
        parts_.line.fetch(uids, {.flags = false, .content = ImapFetch::Content::Header}, [&](const ImapMessage& each) {
            if (each.content) ++(headerDigest(*each.content) == digests[each.uid] ? same : others);
        });
    if (!done) return failed(done);
    return others == 0 && same > 0;
}

// A mailbox that went and one that came, of the same validity: another program has renamed it.
Result<void> SyncPass::takeRenamed(std::map<std::string, ImapMailboxName>& folders) {
    const auto kept = parts_.state.mailboxes();
    const auto isListed = [&](const MirroredMailbox& mailbox) {
        return std::any_of(folders.begin(), folders.end(),
                           [&](const auto& entry) { return entry.second.wire() == mailbox.serverName; });
    };
    std::vector<MirroredMailbox> gone;
    for (const MirroredMailbox& mailbox : kept)
        if (mailbox.uidValidity != 0 && mailbox.order == MirroredMailbox::Order::None &&
            kindOfFolder(mailbox.folder) == MailboxKind::User && !isListed(mailbox))
            gone.push_back(mailbox);
    if (gone.empty()) return {};
    for (const auto& [folder, name] : folders) {
        const bool isKnown = std::any_of(kept.begin(), kept.end(),
                                         [&](const auto& mailbox) { return mailbox.serverName == name.wire(); });
        if (isKnown || Maildir(pathOf(parts_.folder, folder), parts_.files).exists()) continue;
        const auto status = parts_.line.status(name);
        if (!status) {
            if (auto still = goOnAfter(status.error(), folder); !still) return still;
            continue;
        }
        auto same = gone.end();
        for (auto each = gone.begin(); each != gone.end() && same == gone.end(); ++each) {
            if (each->uidValidity != status->uidValidity || each->uidNext > status->uidNext) continue;
            const auto has = hasMessagesOf(*each, name);
            if (has && *has) same = each;
            if (!has)
                if (auto still = goOnAfter(has.error(), folder); !still) return still;
        }
        if (same == gone.end()) continue;
        const auto from = pathOf(parts_.folder, same->folder), to = pathOf(parts_.folder, folder);
        auto moved = parts_.files.rename(from, to);
        if (moved) moved = parts_.files.syncFolder(parts_.folder);
        if (!moved) return moved;
        parts_.state.renameMailbox(same->number, folder, name.wire());
        parts_.library.accountsDidChange();
        gone.erase(same);
    }
    return {};
}

// Of messages that have never been here, wherever they were moved to since, nothing is left.
void SyncPass::forgetListed(const MirroredMailbox& mailbox) {
    const std::string prefix = mirroredPrefixWhateverValidity(mailbox);
    std::vector<std::string> gone, wished;
    for (const auto& [name, listed] : parts_.library.listed(parts_.account))
        if (name.starts_with(prefix)) gone.push_back(name);
    for (const auto& [name, wish] : parts_.state.wishes())
        if (name.starts_with(prefix)) wished.push_back(name);
    if (!gone.empty()) parts_.library.changeListed(parts_.account, {}, gone);
    parts_.state.forgetWishes(wished);
}

// A list may leave out what the server has trouble with for a moment.
Result<bool> SyncPass::isGoneIndeed(const MirroredMailbox& mailbox) {
    const auto status = parts_.line.status(ImapMailboxName::fromWire(mailbox.serverName));
    if (!status && (!parts_.line.isOpen() || status.error().domain != kImapErrorDomain)) return failed(status);
    if (!status && !isForNow(status.error())) return true;
    logWarning("the server's list leaves out the mailbox “" + mailbox.folder + "” of " + parts_.account);
    return false;
}

void SyncPass::dropMailbox(const MirroredMailbox& mailbox) {
    if (!isStill(mailbox)) return;
    logInfo("the mailbox “" + mailbox.folder + "” of " + parts_.account + " is gone at the server");
    forgetListed(mailbox);
    if (mailbox.order == MirroredMailbox::Order::Remove) return parts_.state.removeMailbox(mailbox.number);
    const auto box = boxOf(mailbox.folder);
    std::vector<std::string> names;
    for (const MirroredMessage& message : parts_.state.messages(mailbox.number))
        names.push_back(message.name);
    if (box) {
        if (auto dropped = parts_.library.dropMirrored(*box, names); !dropped)
            return logWarning("its messages stay here: " + dropped.error().description);
    }
    // What was only here stays, and goes to the server with a mailbox of that name.
    tree_.forget(mailbox.folder);
    const auto left = tree_.messagesIn(mailbox.folder);
    const auto wishes = parts_.state.wishes();
    const bool isAwaited = std::any_of(wishes.begin(), wishes.end(),
                                       [&](const auto& entry) { return entry.second.folder == mailbox.folder; });
    if (left && (*left)->empty() && !isAwaited && kindOfFolder(mailbox.folder) == MailboxKind::User) {
        const auto root = pathOf(parts_.folder, mailbox.folder);
        if (auto removed = removeEmptyMaildir(parts_.files, root); !removed)
            logInfo("the folder “" + mailbox.folder + "” of " + parts_.account +
                    " stays: " + removed.error().description);
        tree_.forget(mailbox.folder);
    }
    parts_.state.removeMailbox(mailbox.number);
}

Result<void> SyncPass::createMissing() {
    const std::vector<std::string> folders = tree_.folders();
    for (const std::string& folder : folders) {
        if (staysHere(folder) || parts_.state.mailboxOfFolder(folder)) continue;
        // An empty special folder is of our own making, and nobody has asked for it at the server.
        const auto messages = tree_.messagesIn(folder);
        if (!messages) return failed(messages);
        if ((*messages)->empty() && kindOfFolder(folder) != MailboxKind::User) continue;
        if (!Maildir(pathOf(parts_.folder, folder), parts_.files).exists()) continue;  // renamed by now
        if (auto made = ensureMailbox(folder); !made) {
            if (auto still = goOnAfter(made.error(), folder); !still) return still;
            if (!isForNow(made.error()))
                tellOnce("/" + folder, "The mailbox “" + pathFromFolderName(folder) +
                                           "” can't be made at the server. It stays here. " + made.error().description);
        }
    }
    return {};
}

Result<MirroredMailbox> SyncPass::ensureMailbox(const std::string& folder) {
    if (auto known = parts_.state.mailboxOfFolder(folder)) return *known;
    if (!areMailboxesTaken_) {
        if (auto taken = takeMailboxes(); !taken) return failed(taken);
        if (auto known = parts_.state.mailboxOfFolder(folder)) return *known;
    }
    const auto kept = parts_.state.mailboxes();
    const auto isTaken = [&](const ImapMailboxName& name) {
        return std::any_of(kept.begin(), kept.end(), [&](const auto& each) { return each.serverName == name.wire(); });
    };
    ImapMailboxName name = serverNameFor(folder, prefix_, delimiter_);
    // Two names here can be one there, where it knows no such character.
    for (int i = 2; isTaken(name); ++i)
        name = serverNameFor(folder + " " + std::to_string(i), prefix_, delimiter_);
    const auto made = parts_.line.create(name);
    if (!made && imapResponseCode(made.error()) != "ALREADYEXISTS") return failed(made);
    if (made && parts_.line.isOpen()) (void)parts_.line.subscribe(name);  // not every server knows that
    return parts_.state.putMailbox({.folder = folder, .serverName = name.wire()});
}

}  // namespace qs
