// Mailboxes that were removed here, removed at the server: last of all, when what was moved out of them is elsewhere
// there as well, and only if nothing has come into them that nobody has seen.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirroredName.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/FolderName.h"
#include "Maildir/Maildir.h"

namespace qs {

void SyncPass::keepThoseMadeAgain() {
    for (const MirroredMailbox& mailbox : parts_.state.mailboxes()) {
        if (mailbox.order != MirroredMailbox::Order::Remove) continue;
        for (const std::string& folder : tree_.folders())
            if (!parts_.state.mailboxOfFolder(folder) &&
                serverNameFor(folder, prefix_, delimiter_).wire() == mailbox.serverName) {
                parts_.state.takeBackRemoval(mailbox.number, folder, true);
                break;
            }
    }
}

// `why` is told, with the mailbox's name in it. `erases`: what was in it is erased all the same.
Result<void> SyncPass::takeBackRemoval(Work& work, const std::string& why, bool erases) {
    MirroredMailbox& mailbox = work.mailbox;
    const std::string path = pathOnServer(mailbox.serverName, prefix_, delimiter_);
    const std::string wanted = folderNameFromPath(path).value_or("Mailbox");
    std::string folder = wanted;
    for (int i = 2; parts_.state.mailboxOfFolder(folder) || parts_.files.exists(parts_.folder / ("." + folder)); ++i)
        folder = wanted + " " + std::to_string(i);
    parts_.state.takeBackRemoval(mailbox.number, folder, erases);
    if (auto made = Maildir(parts_.folder / ("." + folder), parts_.files).create(true); !made) return made;
    parts_.library.accountsDidChange();  // which brings about the pass that goes on with it
    parts_.tellPerson(stringWithFormat(why, {pathFromFolderName(folder)}));
    work.isPulled = false;
    work.arrived.clear();
    return {};
}

// Whether all that is still to be fetched was moved into other mailboxes before this one was removed.
bool SyncPass::areMovedOut(const Work& work) {
    const auto wishes = parts_.state.wishes();
    return std::all_of(work.arrived.begin(), work.arrived.end(), [&](std::uint32_t uid) {
        const auto wish = wishes.find(mirroredName(work.mailbox, uid));
        return wish != wishes.end() && wish->second.folder && boxOf(*wish->second.folder);
    });
}

Result<void> SyncPass::removeAllThere() {
    std::vector<Work*> removed;
    for (auto& [folder, work] : works_)
        if (work.mailbox.order == MirroredMailbox::Order::Remove && work.isPulled && !work.isAwaited)
            removed.push_back(&work);
    // Those below first: some servers remove none that has others.
    std::sort(removed.begin(), removed.end(),
              [](const Work* a, const Work* b) { return a->mailbox.serverName.size() > b->mailbox.serverName.size(); });
    for (Work* work : removed)
        if (auto done = removeThere(*work); !done)
            if (auto still = goOnAfter(done.error(), work->mailbox.serverName); !still) return still;
    return {};
}

Result<void> SyncPass::removeThere(Work& work) {
    const MirroredMailbox& mailbox = work.mailbox;
    const auto still = parts_.state.mailboxNumbered(mailbox.number);
    if (!still || still->order != MirroredMailbox::Order::Remove) return {};
    // What could not be moved out of it yet would be lost there.
    const auto plan = planFor(mailbox);
    if (!plan) return failed(plan);
    if (!plan->moves.empty() || !plan->isWhole) return {};
    const auto name = ImapMailboxName::fromWire(mailbox.serverName);
    const auto status = parts_.line.status(name);
    if (!status) return failed(status);
    // Something came during this pass: the next one sees what.
    const bool isNew = work.uidNext != 0 ? status->uidNext != work.uidNext
                                         : status->messages > parts_.state.messages(mailbox.number).size();
    if (status->uidValidity != mailbox.uidValidity || isNew) return {};
    if (!selected_.empty()) (void)parts_.line.examine(ImapMailboxName::inbox());
    selected_.clear();
    if (auto removed = parts_.line.remove(name); !removed) {
        if (auto goesOn = goOnAfter(removed.error(), mailbox.serverName); !goesOn) return goesOn;
        if (isForNow(removed.error())) return {};
        return takeBackRemoval(
            work, "“%@” can't be deleted at the server, so it is back. " + removed.error().description, false);
    }
    if (parts_.line.isOpen()) (void)parts_.line.subscribe(name, false);
    forgetListed(mailbox);
    parts_.state.removeMailbox(mailbox.number);
    return {};
}

}  // namespace qs
