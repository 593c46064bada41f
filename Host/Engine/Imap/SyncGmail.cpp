// What is different at Gmail: a message is one, in however many mailboxes it is shown, and its number tells so.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Imap/LargeMessage.h"
#include "Imap/MailKeeper.h"
#include "Imap/SyncPass.h"
#include "Library/GmailKeeper.h"
#include "MailLibrary.h"
#include "MessageCopies.h"

namespace qs {

namespace {

constexpr std::size_t kBatchBytes = 16 << 20;

std::set<std::uint64_t> takenFrom(MirrorState& state, const std::string& folder) {
    std::set<std::uint64_t> taken;
    for (const LabelOrder& order : state.labelOrders())
        if (order.folder == folder && !order.isAdded) taken.insert(order.message);
    return taken;
}

}  // namespace

std::size_t SyncPass::countKnown(const MirroredMailbox& mailbox) {
    return isGmail() ? parts_.state.gmailNumbers(mailbox.number).size() : parts_.state.messages(mailbox.number).size();
}

// `present`: the uids that are there; null: those in a complete view.
void SyncPass::noteGmailGone(const MirroredMailbox& mailbox, const ImapUidSet* present, ServerView& view) {
    if (!isGmail()) return;
    for (const auto& [uid, message] : parts_.state.gmailNumbers(mailbox.number))
        if (present ? !present->contains(uid) : !view.flags.contains(uid)) view.gmailGone.push_back(uid);
}

void SyncPass::tellNumbers(const MirroredMailbox& mailbox, const ServerView& view) {
    const auto box = view.gmail.empty() ? nullptr : boxOf(mailbox.folder);
    if (!box) return;
    std::vector<std::string> names;
    for (const MirroredMessage& message : parts_.state.messages(mailbox.number))
        if (view.gmail.contains(message.uid)) names.push_back(message.name);
    MessageCopies::of(parts_.library).numbersAreKnown(*box, names);
}

Result<std::map<std::uint64_t, std::string>> SyncPass::unboundCopies(const MirroredMailbox& mailbox) {
    std::map<std::uint64_t, std::string> copies;
    const auto here = tree_.messagesIn(mailbox.folder);
    if (!here) return failed(here);
    for (const auto& [name, flags] : **here) {
        const auto message = gmailMessageInName(name);
        if (!message) continue;
        const auto bound = parts_.state.mailboxesWith(name);
        if (std::find(bound.begin(), bound.end(), mailbox.number) == bound.end()) copies[*message] = name;
    }
    return copies;
}

Result<void> SyncPass::recogniseCopies(const Work& work,
                                       const std::function<void(std::uint32_t, const std::string&)>& find) {
    if (!isGmail() || work.arrived.empty()) return {};
    auto copies = unboundCopies(work.mailbox);
    if (!copies) return failed(copies);
    if (copies->empty()) return {};
    const auto numbers = parts_.state.gmailNumbers(work.mailbox.number);
    for (const std::uint32_t uid : work.arrived) {
        const auto number = numbers.find(uid);
        const auto copy = number == numbers.end() ? copies->end() : copies->find(number->second);
        if (copy == copies->end()) continue;
        find(uid, copy->second);
        copies->erase(copy);
    }
    return {};
}

// They would come only to go again.
void SyncPass::leaveOutTaken(Work& work) {
    if (!isGmail() || work.arrived.empty()) return;
    const auto taken = takenFrom(parts_.state, work.mailbox.folder);
    if (taken.empty()) return;
    std::erase_if(work.arrived, [&](std::uint32_t uid) {
        return taken.contains(parts_.state.gmailNumber(work.mailbox.number, uid));
    });
}

// That they are missing here is an order, which pushLabels() carries out.
void SyncPass::withoutTaken(const MirroredMailbox& mailbox, std::vector<MirroredMessage>& known, MessagesHere& here) {
    const auto taken = takenFrom(parts_.state, mailbox.folder);
    if (taken.empty()) return;
    std::erase_if(known, [&](const MirroredMessage& message) {
        const bool isTaken = taken.contains(parts_.state.gmailNumber(mailbox.number, message.uid));
        if (isTaken) here.erase(message.name);
        return isTaken;
    });
    for (const std::uint64_t message : taken)
        here.erase(gmailCopyName(message, mailbox.folder));
}

// Without uid and flags.
Result<FetchedMessage> SyncPass::copyOf(const std::string& folder, const std::string& name) {
    const auto file = tree_.open(folder, name);
    if (!file) return failed(file);
    const std::uint64_t size = file->content->size();
    FetchedMessage copy{.date = file->modified, .content = {}};
    if (size > parts_.line.limits().pieceBytes) {
        copy.file = parts_.keeper.newTemporary();
        auto done = checkRoom(parts_.files, copy.file.parent_path(), size);
        if (done) done = parts_.files.writeNewFrom(copy.file, sourceOf(file->content));
        if (!done) return failed(done);
        return copy;
    }
    auto content = startOf(sourceOf(file->content), static_cast<std::size_t>(size));
    if (!content) return failed(content);
    copy.content = std::move(*content);
    return copy;
}

Result<void> SyncPass::keepCopies(Work& work) {
    if (!isGmail() || work.arrived.empty()) return {};
    const auto numbers = parts_.state.gmailNumbers(work.mailbox.number);
    std::vector<FetchedMessage> batch;
    std::set<std::uint32_t> found;
    std::size_t bytes = 0;
    const auto keep = [&] {
        bytes = 0;
        return parts_.keeper.keep(work.mailbox, std::exchange(batch, {}));
    };
    for (const std::uint32_t uid : work.arrived) {
        const auto number = numbers.find(uid);
        if (number == numbers.end()) continue;
        for (const auto& place : parts_.state.gmailPlaces(number->second)) {
            if (place.name.empty() || place.mailbox == work.mailbox.number) continue;
            const auto mailbox = parts_.state.mailboxNumbered(place.mailbox);
            auto copy = mailbox ? copyOf(mailbox->folder, place.name) : failure(std::string(), 0, "");
            if (!copy) continue;
            copy->uid = uid;
            copy->flags = work.arrivedFlags[uid];
            bytes += copy->content.size();
            batch.push_back(std::move(*copy));
            found.insert(uid);
            break;
        }
        if (bytes < kBatchBytes) continue;
        if (auto kept = keep(); !kept) return kept;
    }
    if (!batch.empty())
        if (auto kept = keep(); !kept) return kept;
    tellProgress(found.size());
    std::erase_if(work.arrived, [&](std::uint32_t uid) { return found.contains(uid); });
    return {};
}

// What removing means there in other mailboxes is the person's setting; in these it means what it says.
Result<void> SyncPass::eraseThere(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages) {
    using Use = MirroredMailbox::Use;
    if (!isGmail() || mailbox.use == Use::Trash || mailbox.use == Use::Junk) return expungeThere(mailbox, messages);
    std::vector<MirroredMessage> erased;
    std::vector<LabelOrder> moved;  // the file lies in another mailbox that has the message, too
    for (const MirroredMessage& message : messages)
        if (parts_.state.isRemoved(message.name))
            erased.push_back(message);
        else if (const std::uint64_t number = parts_.state.gmailNumber(mailbox.number, message.uid))
            moved.push_back({.message = number, .folder = mailbox.folder, .isAdded = false});
    parts_.state.orderLabels(moved);
    if (erased.empty()) return {};
    for (const MirroredMailbox& each : parts_.state.mailboxes())
        if (each.use == Use::Trash) return moveThere(mailbox, each.folder, erased);
    return expungeThere(mailbox, erased);
}

// A file that was made here for a label. Answers false when it has to be uploaded like any other, as the message is in
// no mailbox there any more.
Result<bool> SyncPass::settleCopy(const MirroredMailbox& mailbox, const std::string& name) {
    const auto message = isGmail() ? gmailMessageInName(name) : std::nullopt;
    if (!message) return false;
    for (const LabelOrder& order : parts_.state.labelOrders())
        if (order.message == *message && order.folder == mailbox.folder && order.isAdded) return true;
    if (parts_.state.gmailPlaces(*message).empty()) return false;
    // Another has taken the label meanwhile.
    const auto box = boxOf(mailbox.folder);
    if (!box) return true;
    if (auto dropped = parts_.library.dropMirrored(*box, {name}); !dropped) return failed(dropped);
    tree_.forget(mailbox.folder);
    return true;
}

}  // namespace qs
