// Labels that were given and taken here, done at Gmail. In the mailbox of all mail, as a mailbox does not let go of its
// own label in this way.
#include <algorithm>

#include "Foundation/Log.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/FolderName.h"

namespace qs {

namespace {

// Gmail's own labels go by names that are the same in every language.
ImapMailboxName labelOf(const MirroredMailbox& mailbox) {
    if (mailbox.folder.empty()) return ImapMailboxName::fromWire("\\Inbox");
    if (mailbox.use == MirroredMailbox::Use::Drafts) return ImapMailboxName::fromWire("\\Draft");
    if (mailbox.use == MirroredMailbox::Use::Sent) return ImapMailboxName::fromWire("\\Sent");
    return ImapMailboxName::fromWire(mailbox.serverName);
}

}  // namespace

// What has to be looked at before any of it is done.
std::set<std::string> SyncPass::labelledFolders() {
    std::set<std::string> folders;
    if (!isGmail()) return folders;
    std::set<std::int64_t> seats;
    for (const LabelOrder& order : parts_.state.labelOrders()) {
        folders.insert(order.folder);
        for (const auto& place : parts_.state.gmailPlaces(order.message))
            seats.insert(place.mailbox);
    }
    if (folders.empty()) return folders;
    // What is done at a place that is gone there is done to nothing, and not refused. And a message that somebody has
    // thrown away seems to be nowhere until the trash is looked at.
    for (const MirroredMailbox& mailbox : parts_.state.mailboxes())
        if (!mailbox.isLabel() || seats.contains(mailbox.number)) folders.insert(mailbox.folder);
    return folders;
}

// Without those that are done, perhaps by a command whose answer was lost, and those of messages that are deleted.
std::vector<LabelOrder> SyncPass::openOrders() {
    std::vector<LabelOrder> open, settled;
    for (const LabelOrder& order : parts_.state.labelOrders()) {
        const auto target = parts_.state.mailboxOfFolder(order.folder);
        const auto work = works_.find(order.folder);
        const bool isKnown = target ? work != works_.end() && work->second.isPulled : !order.isAdded;
        bool isThere = false, isAnywhere = false;
        for (const auto& place : parts_.state.gmailPlaces(order.message)) {
            const auto mailbox = parts_.state.mailboxNumbered(place.mailbox);
            const bool isTrashed =
                mailbox && (mailbox->use == MirroredMailbox::Use::Junk || mailbox->use == MirroredMailbox::Use::Trash);
            isThere = isThere || (target && place.mailbox == target->number);
            isAnywhere = isAnywhere || !isTrashed;
        }
        const bool isDone = isKnown && isThere == order.isAdded;
        (isDone || !isAnywhere ? settled : open).push_back(order);
    }
    parts_.state.forgetLabelOrders(settled);
    return open;
}

Result<void> SyncPass::pushLabels() {
    if (!isGmail()) return {};
    const auto open = openOrders();
    // Given first: a message without any label would be out of sight everywhere but among all mail.
    for (const bool isAdded : {true, false}) {
        std::map<std::pair<std::int64_t, std::string>, std::vector<LabelOrder>> groups;
        for (const LabelOrder& order : open) {
            if (order.isAdded != isAdded) continue;
            std::int64_t seat = 0;
            for (const auto& place : parts_.state.gmailPlaces(order.message)) {
                const auto mailbox = parts_.state.mailboxNumbered(place.mailbox);
                if (!mailbox || mailbox->folder == order.folder) continue;
                if (mailbox->use == MirroredMailbox::Use::AllMail || (seat == 0 && mailbox->isLabel()))
                    seat = mailbox->number;
            }
            if (seat != 0) groups[{seat, order.folder}].push_back(order);
        }
        for (const auto& [place, orders] : groups) {
            const auto seat = parts_.state.mailboxNumbered(place.first);
            if (!seat) continue;
            if (auto done = pushLabel(*seat, place.second, isAdded, orders); !done)
                if (auto still = goOnAfter(done.error(), place.second); !still) return still;
        }
    }
    return {};
}

Result<void> SyncPass::pushLabel(const MirroredMailbox& seat, const std::string& folder, bool isAdded,
                                 const std::vector<LabelOrder>& orders) {
    const auto mailbox = ensureMailbox(folder);
    if (!mailbox) return failed(mailbox);
    if (auto done = selected(seat); !done) return done;
    std::set<std::uint32_t> sorted;
    for (const LabelOrder& order : orders)
        for (const auto& place : parts_.state.gmailPlaces(order.message))
            if (place.mailbox == seat.number) sorted.insert(place.uid);
    ImapUidSet uids;
    for (const std::uint32_t uid : sorted)
        uids.add(uid);
    const auto stored =
        parts_.line.storeGmailLabels(uids, isAdded ? ImapChange::Add : ImapChange::Remove, {labelOf(*mailbox)});
    if (stored) return settleLabel(*mailbox, isAdded, orders);
    if (!parts_.line.isOpen() || imapFailure(stored.error()) == ImapFailure::Temporary) return stored;
    return refuseLabel(folder, orders, stored.error());
}

Result<void> SyncPass::settleLabel(const MirroredMailbox& mailbox, bool isAdded,
                                   const std::vector<LabelOrder>& orders) {
    if (isAdded) {
        // Its uid there is still to be learnt.
        pullAgain_.insert(mailbox.folder);
        parts_.state.forgetLabelOrders(orders);
        return {};
    }
    const auto here = tree_.messagesIn(mailbox.folder);
    if (!here) return failed(here);
    std::vector<std::uint32_t> gone;
    std::vector<std::string> left;
    for (const LabelOrder& order : orders)
        for (const auto& place : parts_.state.gmailPlaces(order.message)) {
            if (place.mailbox != mailbox.number) continue;
            gone.push_back(place.uid);
            if ((*here)->contains(place.name)) left.push_back(place.name);  // the program ended before it went
        }
    if (const auto box = boxOf(mailbox.folder); box && !left.empty())
        if (auto dropped = parts_.library.dropMirrored(*box, left); !dropped) return dropped;
    parts_.state.change(mailbox.number, {}, gone);
    parts_.state.forgetGmailNumbers(mailbox.number, gone);
    parts_.state.forgetLabelOrders(orders);
    tree_.forget(mailbox.folder);
    return {};
}

// Everything here becomes again what it is there.
Result<void> SyncPass::refuseLabel(const std::string& folder, const std::vector<LabelOrder>& orders,
                                   const Error& error) {
    logWarning("a label of " + parts_.account + " can't be changed: " + error.description);
    parts_.tellPerson("Messages can't be put into or taken from “" +
                      (folder.empty() ? std::string("Inbox") : pathFromFolderName(folder)) + "” at the server. " +
                      error.description);
    parts_.state.forgetLabelOrders(orders);
    if (const auto work = works_.find(folder); work != works_.end()) {
        lookAtAllOf(work->second.mailbox);
        work->second.modSeq = 0;
    }
    return {};
}

}  // namespace qs
