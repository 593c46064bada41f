// Mailboxes that were renamed here, or put below another one, renamed at the server.
#include <algorithm>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailboxNames.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/FolderName.h"

namespace qs {

namespace {

using Order = MirroredMailbox::Order;

}  // namespace

std::vector<MirroredMailbox> SyncPass::waitingForNames() {
    std::vector<MirroredMailbox> all = parts_.state.mailboxes();
    std::erase_if(all, [&](const MirroredMailbox& mailbox) {
        return mailbox.order != Order::Rename || renamesLater_.contains(mailbox.number);
    });
    // Those above first: the server takes along what is below them.
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.folder < b.folder; });
    return all;
}

Result<bool> SyncPass::pushRenames(const std::vector<ImapMailbox>& listed) {
    std::set<std::string> names;
    for (const ImapMailbox& mailbox : listed)
        names.insert(mailbox.name.wire());
    bool isAny = false;
    for (bool goesOn = true; goesOn;) {
        goesOn = false;
        for (const MirroredMailbox& each : waitingForNames()) {
            // One above it may have been renamed just now.
            const auto mailbox = parts_.state.mailboxNumbered(each.number);
            if (!mailbox || mailbox->order != Order::Rename) continue;
            const auto renamed = pushRename(*mailbox, names);
            if (!renamed) return failed(renamed);
            goesOn = goesOn || *renamed == Renamed::Yes;
            isAny = isAny || *renamed == Renamed::Yes;
        }
        if (goesOn) continue;
        // What is left waits for each other's names: the first makes way under another one.
        const auto rest = waitingForNames();
        if (rest.empty()) break;
        ImapMailboxName aside;
        for (int i = 1; aside.wire().empty() || names.contains(aside.wire()); ++i)
            aside = serverNameFor(rest.front().folder + " (" + std::to_string(i) + ")", prefix_, delimiter_);
        if (auto done = renameThere(rest.front(), aside, false); !done) {
            if (auto still = refusedToRename(rest.front(), done.error()); !still) return failed(still);
        } else {
            names.erase(rest.front().serverName);
            names.insert(aside.wire());
        }
        isAny = goesOn = true;
    }
    return isAny;
}

Result<SyncPass::Renamed> SyncPass::pushRename(const MirroredMailbox& mailbox, std::set<std::string>& names) {
    const ImapMailboxName wanted = serverNameFor(mailbox.folder, prefix_, delimiter_);
    const auto settle = [&](const std::string& serverName) {
        parts_.state.renameMailbox(mailbox.number, mailbox.folder, serverName);
        return Renamed::Yes;
    };
    const bool isThere = names.contains(mailbox.serverName), isTaken = names.contains(wanted.wire());
    if (wanted.wire() == mailbox.serverName) return settle(mailbox.serverName);
    if (!isThere) return settle(isTaken ? wanted.wire() : mailbox.serverName);  // an answer was lost, or it is gone
    // One that is to be renamed itself makes way, or would take this one along if it were put below it now.
    const auto others = waitingForNames();
    const bool isInTheWay = std::any_of(others.begin(), others.end(), [&](const MirroredMailbox& each) {
        return each.number != mailbox.number &&
               (wanted.wire() == each.serverName ||
                (delimiter_ != 0 && wanted.wire().starts_with(each.serverName + delimiter_)));
    });
    if (isInTheWay) return Renamed::Waits;
    if (isTaken) {
        takeBackRename(mailbox, "There is a mailbox of this name at the server.");
        return Renamed::Yes;
    }
    if (auto done = renameThere(mailbox, wanted, true); !done) {
        if (auto still = refusedToRename(mailbox, done.error()); !still) return failed(still);
        return Renamed::Yes;
    }
    std::set<std::string> renamed;
    const std::string before = mailbox.serverName + delimiter_;
    for (const std::string& name : names)
        if (name == mailbox.serverName)
            renamed.insert(wanted.wire());
        else
            renamed.insert(delimiter_ != 0 && name.starts_with(before)
                               ? wanted.wire() + delimiter_ + name.substr(before.size())
                               : name);
    names = std::move(renamed);
    return Renamed::Yes;
}

// `isSettled`: it has its last name then.
Result<void> SyncPass::renameThere(const MirroredMailbox& mailbox, const ImapMailboxName& to, bool isSettled) {
    const auto from = ImapMailboxName::fromWire(mailbox.serverName);
    // Some servers rename no mailbox that is being looked at.
    if (!selected_.empty()) (void)parts_.line.examine(ImapMailboxName::inbox());
    selected_.clear();
    if (auto done = parts_.line.rename(from, to); !done) return done;
    if (isSettled)
        parts_.state.renameMailbox(mailbox.number, mailbox.folder, to.wire());
    else
        parts_.state.setServerName(mailbox.number, to.wire());
    const std::string before = mailbox.serverName + delimiter_;
    for (const MirroredMailbox& each : parts_.state.mailboxes())
        if (delimiter_ != 0 && each.serverName.starts_with(before))
            parts_.state.setServerName(each.number, to.wire() + delimiter_ + each.serverName.substr(before.size()));
    // Not every server knows that, and the names of subscriptions are a list of their own.
    if (parts_.line.isOpen()) (void)parts_.line.subscribe(to);
    if (parts_.line.isOpen()) (void)parts_.line.subscribe(from, false);
    return {};
}

Result<void> SyncPass::refusedToRename(const MirroredMailbox& mailbox, const Error& error) {
    if (auto still = goOnAfter(error, mailbox.folder); !still) return still;
    if (isForNow(error))
        renamesLater_.insert(mailbox.number);
    else
        takeBackRename(mailbox, error.description);
    return {};
}

void SyncPass::takeBackRename(const MirroredMailbox& mailbox, const std::string& why) {
    parts_.state.renameMailbox(mailbox.number, mailbox.folder, mailbox.serverName);
    const std::string before = pathOnServer(mailbox.serverName, prefix_, delimiter_);
    parts_.tellPerson(stringWithFormat("“%@” can't be called “%@” at the server. %@",
                                       {before, pathFromFolderName(mailbox.folder), why}));
    // When its old name is taken here by now, it keeps the new one, which the server then does not know.
    if (const auto box = boxOf(mailbox.folder))
        if (const auto renamed = parts_.library.renameMailbox(*box, before); !renamed)
            logWarning("“" + mailbox.folder + "” keeps its name here: " + renamed.error().description);
}

}  // namespace qs
