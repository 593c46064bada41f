// The list of mailboxes: what is new at the server comes here, what is new here goes there, what is gone there goes
// here as far as the server had it.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/SyncPass.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "Maildir/Maildir.h"

namespace qs {

namespace {

std::filesystem::path pathOf(const std::filesystem::path& account, const std::string& folder) {
    return folder.empty() ? account : account / ("." + folder);
}

}  // namespace

Result<void> SyncPass::takeMailboxes() {
    const auto namespaces = parts_.line.namespaces();
    if (!namespaces) return failed(namespaces);
    const auto listed = parts_.line.list();
    if (!listed) return failed(listed);
    const bool hasInbox =
        std::any_of(listed->begin(), listed->end(), [](const auto& each) { return each.name.isInbox(); });
    if (!hasInbox)
        return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Temporary),
                       "The server lists no inbox just now.");
    prefix_ = namespaces->personal.front().prefix;
    delimiter_ = namespaces->personal.front().delimiter;
    if (delimiter_ == 0) delimiter_ = listed->front().delimiter;
    areMailboxesTaken_ = true;

    auto folders = foldersFor(*listed, prefix_, parts_.state.mailboxes());
    if (auto renamed = takeRenamed(folders); !renamed) return renamed;
    bool isTreeChanged = false;
    for (const MirroredMailbox& kept : parts_.state.mailboxes()) {
        const auto found = folders.find(kept.folder);
        if (found != folders.end() && found->second.wire() == kept.serverName) continue;
        dropMailbox(kept);
        isTreeChanged = true;
    }
    for (const auto& [folder, name] : folders) {
        if (!parts_.state.mailboxOfFolder(folder))
            parts_.state.putMailbox({.folder = folder, .serverName = name.wire()});
        const Maildir maildir(pathOf(parts_.folder, folder), parts_.files);
        if (maildir.exists()) continue;
        if (auto made = maildir.create(!folder.empty()); !made) return made;
        isTreeChanged = true;
    }
    if (isTreeChanged) parts_.library.accountsDidChange();
    return createMissing();
}

// A mailbox that went and one that came, of the same validity: most likely another program renamed it. Were it another
// all the same, its messages would not be recognised and are fetched.
Result<void> SyncPass::takeRenamed(std::map<std::string, ImapMailboxName>& folders) {
    const auto kept = parts_.state.mailboxes();
    const auto isListed = [&](const MirroredMailbox& mailbox) {
        return std::any_of(folders.begin(), folders.end(),
                           [&](const auto& entry) { return entry.second.wire() == mailbox.serverName; });
    };
    std::vector<MirroredMailbox> gone;
    for (const MirroredMailbox& mailbox : kept)
        if (mailbox.uidValidity != 0 && kindOfFolder(mailbox.folder) == MailboxKind::User && !isListed(mailbox))
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
        const auto same = std::find_if(gone.begin(), gone.end(), [&](const MirroredMailbox& mailbox) {
            return mailbox.uidValidity == status->uidValidity && mailbox.uidNext <= status->uidNext;
        });
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

void SyncPass::dropMailbox(const MirroredMailbox& mailbox) {
    logInfo("the mailbox “" + mailbox.folder + "” of " + parts_.account + " is gone at the server");
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
    if (left && (*left)->empty() && kindOfFolder(mailbox.folder) == MailboxKind::User) {
        const auto root = pathOf(parts_.folder, mailbox.folder);
        for (const char* part : {"tmp", "new", "cur", ""}) {
            if (const auto files = parts_.files.list(root / part))
                for (const FileInfo& file : *files)
                    if (!file.isFolder) (void)parts_.files.remove(file.path);
            (void)parts_.files.remove(part[0] == 0 ? root : root / part);
        }
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
        if (auto made = ensureMailbox(folder); !made)
            if (auto still = goOnAfter(made.error(), folder); !still) return still;
    }
    return {};
}

Result<MirroredMailbox> SyncPass::ensureMailbox(const std::string& folder) {
    if (auto known = parts_.state.mailboxOfFolder(folder)) return *known;
    if (!areMailboxesTaken_) {
        if (auto taken = takeMailboxes(); !taken) return failed(taken);
        if (auto known = parts_.state.mailboxOfFolder(folder)) return *known;
    }
    const ImapMailboxName name = serverNameFor(folder, prefix_, delimiter_);
    const auto made = parts_.line.create(name);
    if (!made && imapResponseCode(made.error()) != "ALREADYEXISTS") return failed(made);
    if (made && parts_.line.isOpen()) (void)parts_.line.subscribe(name);  // not every server knows that
    return parts_.state.putMailbox({.folder = folder, .serverName = name.wire()});
}

}  // namespace qs
