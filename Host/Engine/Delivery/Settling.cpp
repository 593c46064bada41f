// What the stages of a delivery end with: the sent copy and the tidying, or the message back in the outbox.

#include <algorithm>
#include <cerrno>
#include <set>

#include "Delivery/DeliveryQueueObject.h"
#include "Delivery/DraftForRefused.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "MailLibrary.h"
#include "Maildir/Maildir.h"
#include "Mime/Addresses.h"
#include "Mime/MessageWriter.h"
#include "Mime/MimeMessage.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

using Stage = DeliveryJournal::Stage;

tl::unexpected<Error> cannotSettle(std::string sentence) {
    return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed), std::move(sentence));
}

std::vector<std::string> recipientsOf(const MessageHeaders& headers) {
    std::vector<std::string> result;
    std::set<std::string> seen;
    for (const auto key : {MCHeaderKeyTo, MCHeaderKeyCc, MCHeaderKeyBcc})
        for (const auto& field : headers.allHeadersForKey(key))
            for (const auto& address : parseAddresses(field))
                if (!address.address.empty() && seen.insert(asciiLowered(address.address)).second)
                    result.push_back(address.address);
    return result;
}

}  // namespace

Result<DeliveryServiceObject::Delivery> DeliveryServiceObject::read(DeliveryJournal::State state) {
    auto file = files_.open(state.claimedFile);
    if (!file) return failed(file);
    const auto start = startOf(sourceOf(*file), kLargestHeader);
    const auto transmittedSize = start ? lengthOf(transmittedForm(sourceOf(std::move(*file)))) : failed(start);
    if (!transmittedSize) return failed(transmittedSize);
    auto headers = parseHeaders(*start);
    Delivery delivery;
    delivery.transmittedSize = *transmittedSize;
    state.uniqueID = headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or("");
    if (state.uniqueID.empty()) state.uniqueID = MaildirName(state.claimedFile.filename().string()).unique();
    delivery.state = std::move(state);
    delivery.messageID = headers->firstMessageIDForKey(MCHeaderKeyMessageId).value_or("");
    delivery.subject = headers->firstHeaderForKey(MCHeaderKeySubject).value_or("");
    delivery.to = headers->firstHeaderForKey(MCHeaderKeyTo).value_or("");
    delivery.from = headers->firstAddressForKey(MCHeaderKeyFrom).value_or("");
    delivery.recipients = recipientsOf(*headers);
    std::erase_if(delivery.recipients, [&](const auto& each) { return delivery.state.reached.contains(each); });
    return delivery;
}

Result<ByteSource> DeliveryServiceObject::contentOf(const Delivery& delivery) {
    auto file = files_.open(delivery.state.claimedFile);
    if (!file) return failed(file);
    return sourceOf(std::move(*file));
}

Result<void> DeliveryServiceObject::saveSentCopyAndTidy(Delivery& delivery) {
    if (delivery.state.stage != Stage::SentCopied) {
        auto sent = library_.mailbox(delivery.state.account, MailboxKind::Sent, true);
        if (!sent) return cannotSettle("There is no mailbox for sent mail.");
        // Named after the claimed file, which is unique: doing it again finds the first.
        const std::string name = "out-" + MaildirName(delivery.state.claimedFile.filename().string()).unique();
        const auto content = contentOf(delivery);
        if (!content) return failed(content);
        auto copy = library_.addFrom(*sent, *content, {.seen = true}, RunLoop::main().now(), name);
        if (!copy) return failed(copy);
        if (auto noted = journal_.noteStage(delivery.state, Stage::SentCopied); !noted) return noted;
        delivery.state.stage = Stage::SentCopied;
    }
    if (auto saved = saveDraftForRefused(delivery); !saved) return saved;
    return delivery.state.later.empty() ? tidy(delivery) : keepForTheRest(delivery);
}

// For the person to correct the addresses and to send it on, without anybody getting it twice.
Result<void> DeliveryServiceObject::saveDraftForRefused(const Delivery& delivery) {
    if (delivery.state.refused.empty()) return {};
    auto drafts = library_.mailbox(delivery.state.account, MailboxKind::Drafts, true);
    if (!drafts) return cannotSettle("There is no mailbox for drafts.");
    // Doing it again finds the first, and a later attempt's is another one.
    const std::string name = "rest-" + MaildirName(delivery.state.claimedFile.filename().string()).unique() + "-" +
                             std::to_string(delivery.state.attempts);
    auto file = files_.open(delivery.state.claimedFile);
    if (!file) return failed(file);
    const auto draft = draftForRefused(std::move(*file), delivery.state.refused, dataFolder_);
    if (!draft) return failed(draft);
    const auto added = library_.addFrom(*drafts, *draft, {.seen = true, .draft = true}, RunLoop::main().now(), name);
    return added ? Result<void>() : failed(added);
}

// Back into the outbox, with a note of those that need nothing more.
Result<void> DeliveryServiceObject::keepForTheRest(Delivery& delivery) {
    for (const std::string& recipient : delivery.recipients)
        if (!delivery.state.later.contains(recipient)) delivery.state.reached.insert(recipient);
    delivery.state.refused.clear();
    delivery.state.later.clear();
    return putBack(delivery);
}

// The message first, its journal last: a journal without a message tells of nothing left to do.
Result<void> DeliveryServiceObject::tidy(Delivery& delivery) {
    auto removed = files_.remove(delivery.state.claimedFile);
    if (!removed && removed.error().code == ENOENT) removed = {};
    if (removed) removed = files_.syncFolder(delivery.state.claimedFile.parent_path());
    return removed ? journal_.end(delivery.state) : removed;
}

// First that nothing has left, then the message into the outbox under its old name, by one rename: at every moment
// there is one of it.
Result<void> DeliveryServiceObject::putBack(Delivery& delivery) {
    auto outbox = library_.mailbox(delivery.state.account, MailboxKind::Outbox, true);
    if (!outbox) return cannotSettle("There is no outbox.");
    if (auto noted = records_.noteReached(delivery.state.uniqueID, delivery.state.reached); !noted) return noted;
    if (const Stage before = delivery.state.stage; before != Stage::Claimed) {
        delivery.state.stage = Stage::Claimed;
        if (auto begun = journal_.begin(delivery.state); !begun) {
            delivery.state.stage = before;
            return begun;
        }
    }
    const Maildir maildir(outboxFolder(delivery.state.account), files_);
    const std::filesystem::path& file = delivery.state.claimedFile;
    const std::string unique = MaildirName(file.filename().string()).unique();
    // A power cut during the claim may have left the message in both places.
    const auto twin = maildir.find(unique);
    bool isSame = false;
    if (twin) {
        const auto here = files_.open(file), there = files_.open(maildir.pathOf(*twin));
        isSame = here && there && areSame(**here, **there).value_or(false);
    }
    const std::string name = twin ? MaildirName::newUnique(RunLoop::main().now()) : unique;
    const std::string target = "cur/" + MaildirName(name).withLetters("S").text();
    auto moved = isSame ? files_.remove(file) : files_.renameNew(file, maildir.pathOf(target));
    if (!moved) return moved;
    for (const auto& folder : {maildir.pathOf("cur"), file.parent_path()})
        if (auto synced = files_.syncFolder(folder); !synced)
            logWarning("The outbox is not safe against a power cut yet: " + synced.error().description);
    library_.rescan(outbox->identifier());
    if (auto ended = journal_.end(delivery.state); !ended)
        logWarning("The record of a delivery that is over stays: " + ended.error().description);
    return {};
}

// A copy that the server itself put there, or one of an earlier life.
bool DeliveryServiceObject::standsAmongSent(const Delivery& delivery) {
    if (delivery.messageID.empty()) return false;
    if (auto sent = library_.mailbox(delivery.state.account, MailboxKind::Sent, false))
        library_.rescan(sent->identifier());
    const auto copies = library_.messagesWithMessageIDHeader(delivery.messageID);
    return std::any_of(copies.begin(), copies.end(), [](const MessageRef& copy) {
        auto mailbox = copy->mailbox();
        return mailbox && mailbox->kind() == MailboxKind::Sent;
    });
}

// Shown, never lost, and not in the way of the others.
void DeliveryServiceObject::putAside(const std::filesystem::path& file, const Error& error) {
    // Not the file's fault: the next walk finds it again.
    if (error.code == EMFILE || error.code == ENFILE || error.code == ENOMEM || error.code == ENOENT)
        return logWarning("A message that is being delivered can't be read now: " + error.description);
    const auto folder = dataFolder_ / "Deliveries" / "corrupt";
    const auto target = folder / file.filename();
    auto moved = files_.makeFolder(folder);
    if (moved) moved = files_.renameNew(file, target);
    if (moved) moved = files_.syncFolder(folder);
    tell(moved ? "A message in the outbox can't be read. It was put aside as " + target.string() + "."
               : "A message in the outbox can't be read: " + file.string() + ".");
}

void DeliveryServiceObject::tellRefused(const Delivery& delivery) {
    if (delivery.state.refused.empty()) return;
    std::string text = "“" + delivery.subject + "” did not reach everybody.";
    for (const auto& [recipient, why] : delivery.state.refused)
        text += "\n" + why;
    tell(text + "\nA message to " + (delivery.state.refused.size() == 1 ? "this recipient" : "them") +
         " alone is among the drafts, for you to correct and send.");
}

void DeliveryServiceObject::tellSettled(const Delivery& delivery) {
    for (const auto& copy : library_.messagesWithMessageIDHeader(delivery.messageID)) {
        const auto mailbox = copy->mailbox();
        if (!mailbox || mailbox->kind() != MailboxKind::Sent) continue;
        return RunLoop::main().post(
            [copy] { NotificationCenter::defaultCenter().post(DeliveryWasSettledNotification, copy.get()); });
    }
}

// Shown at once, told once for each new reason: it is tried again with every walk.
void DeliveryServiceObject::tellUnsettled(const Delivery& delivery, DeliveryStatus::State state,
                                          const std::string& sentence) {
    bool isNews = true;
    {
        std::scoped_lock lock(lock_);
        const auto shown = taken_.find(delivery.state.uniqueID);
        isNews = shown == taken_.end() || shown->second.lastAnswer != sentence;
    }
    show(delivery, state, sentence);
    if (isNews) tell("“" + delivery.subject + "”: " + sentence, delivery.state.uniqueID);
}

}  // namespace qs
