// How one message is delivered: claim, journal, transmit, journal, keep the sent copy, tidy. All on the queue's thread.
#include <openssl/evp.h>

#include <algorithm>
#include <set>

#include "AccountBook.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "MailLibrary.h"
#include "Mime/Addresses.h"
#include "Mime/MessageWriter.h"
#include "Mime/MimeMessage.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

using Stage = DeliveryJournal::Stage;

Error deliveryError(DeliveryError code, std::string sentence) {
    return {std::string(kDeliveryErrorDomain), static_cast<int>(code), std::move(sentence), {}};
}

// The same for the same message and place, so that doing it twice finds the first.
std::string deterministicName(std::string_view prefix, std::string_view messageID, std::string_view place) {
    const std::string text = std::string(messageID) + "\n" + asciiLowered(place);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr);
    constexpr char kDigits[] = "0123456789abcdef";
    std::string name(prefix);
    for (unsigned i = 0; i < 16 && i < length; ++i) {
        name += kDigits[digest[i] >> 4];
        name += kDigits[digest[i] & 15];
    }
    return name;
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

std::string sentences(const std::map<std::string, std::string>& refused) {
    std::string text;
    for (const auto& [recipient, answer] : refused)
        text += (text.empty() ? "" : " ") + recipient + ": " + answer;
    return text;
}

}  // namespace

std::optional<DeliveryServiceObject::Delivery> DeliveryServiceObject::read(DeliveryJournal::State state) {
    auto content = files_.read(state.claimedFile);
    if (!content) return std::nullopt;
    auto headers = parseHeaders(*content);
    Delivery delivery;
    if (state.uniqueID.empty())
        state.uniqueID = headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier)
                             .value_or(state.claimedFile.filename().string());
    delivery.state = std::move(state);
    delivery.content = std::move(*content);
    delivery.messageID = headers->firstMessageIDForKey(MCHeaderKeyMessageId).value_or("");
    delivery.subject = headers->firstHeaderForKey(MCHeaderKeySubject).value_or("");
    delivery.to = headers->firstHeaderForKey(MCHeaderKeyTo).value_or("");
    delivery.from = headers->firstAddressForKey(MCHeaderKeyFrom).value_or("");
    delivery.recipients = recipientsOf(*headers);
    return delivery;
}

int DeliveryServiceObject::deliver(const MessageRef& message, MailAccount& account) {
    const AccountRecord* found = accounts_.find(account.identifier());
    auto headers = message->headersIfAvailable();  // read now: the file is about to move
    if (!found || !headers) return kDeliveryNotDelivered;
    const AccountRecord record = *found;
    const std::string uniqueID = headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or("");
    const DeliveryRecord past = records_.record(uniqueID);
    if (past.refused || past.nextAttempt.isAheadOf(RunLoop::main().now())) return kDeliveryNotDelivered;

    auto claimed = library_.claim(message->libraryID(), claimedFolder(record.identifier));
    if (!claimed) {
        // Somebody else was quicker, or the disk is full: the message is where it was.
        logInfo("A message of the outbox was not taken: " + claimed.error().description);
        return kDeliveryNotDelivered;
    }
    auto delivery = read({uniqueID, record.identifier, *claimed, Stage::Claimed, {}, past.attempts, {}});
    if (!delivery) {
        putAside(*claimed);
        return kDeliveryNotDelivered;
    }
    show(*delivery, DeliveryStatus::State::Sending, past.lastAnswer);
    return transmitAndSettle(*delivery, record);
}

int DeliveryServiceObject::transmitAndSettle(Delivery& delivery, const AccountRecord& account) {
    SmtpOutcome outcome;
    if (auto begun = journal_.begin(delivery.state); !begun) {
        outcome.answer = begun.error().description;
    } else {
        outcome = transmit(delivery, account);
    }
    switch (outcome.kind) {
    case SmtpOutcome::Kind::Accepted: return finishAccepted(delivery, outcome);
    case SmtpOutcome::Kind::InDoubt: return keepInDoubt(delivery, outcome.answer);
    case SmtpOutcome::Kind::Temporary:
    case SmtpOutcome::Kind::Refused: break;
    }
    return releaseAfterFailure(delivery, outcome);
}

SmtpOutcome DeliveryServiceObject::transmit(Delivery& delivery, const AccountRecord& account) {
    if (delivery.recipients.empty()) return {SmtpOutcome::Kind::Refused, "It has no recipients.", {}};
    if (!account.hasServer) return deliverLocally(delivery, account);
    const std::string content = transmittedForm(delivery.content);
    return sendOverSmtp(
        account.server, {delivery.from, delivery.recipients, content},
        {.beforeFinalDot = [&] { return journal_.noteStage(delivery.state, Stage::FinalDot).has_value(); },
         .isCancelled = [this] { return stopping_.load(); }});
}

// Each inbox has it at most once, whatever happens in between: the name says which message it is.
SmtpOutcome DeliveryServiceObject::deliverLocally(Delivery& delivery, const AccountRecord& account) {
    const std::string content = transmittedForm(delivery.content);
    SmtpOutcome outcome;
    for (const auto& recipient : delivery.recipients) {
        if (delivery.state.reached.contains(recipient)) continue;
        const AccountRecord* target = accounts_.withAddress(recipient);
        if (!target) {
            outcome.refused[recipient] =
                "is no account of this program, and " + account.displayName + " has no server to send it through.";
            continue;
        }
        auto inbox = library_.mailbox(target->identifier, MailboxKind::Inbox, true);
        auto added = inbox ? Result<void>() : failure(deliveryError(DeliveryError::Failed, "There is no inbox."));
        if (inbox)
            if (auto message = library_.add(*inbox, content, {}, RunLoop::main().now(),
                                            deterministicName("in-", delivery.messageID, recipient));
                !message)
                added = failed(message);
        if (added) added = journal_.noteReached(delivery.state, recipient);
        if (!added) return {SmtpOutcome::Kind::Temporary, added.error().description, {}};
        delivery.state.reached.insert(recipient);
    }
    outcome.kind = delivery.state.reached.empty() ? SmtpOutcome::Kind::Refused : SmtpOutcome::Kind::Accepted;
    if (delivery.state.reached.empty()) {
        outcome.answer = delivery.recipients.front() + " " + outcome.refused[delivery.recipients.front()];
    }
    return outcome;
}

int DeliveryServiceObject::finishAccepted(Delivery& delivery, const SmtpOutcome& outcome) {
    if (auto noted = journal_.noteStage(delivery.state, Stage::Accepted); !noted)
        logError("The delivery of a message could not be noted: " + noted.error().description);
    delivery.state.stage = Stage::Accepted;
    records_.forget(delivery.state.uniqueID);
    if (!outcome.refused.empty())
        tell("\"" + delivery.subject + "\" did not reach everybody. " + sentences(outcome.refused),
             delivery.state.uniqueID);
    if (auto saved = saveSentCopyAndTidy(delivery); !saved)
        // It has left all the same. The next start tries to keep the copy again.
        tell("\"" + delivery.subject + "\" was sent, but no copy could be kept yet: " + saved.error().description,
             delivery.state.uniqueID);
    unshow(delivery.state.uniqueID);
    return kDeliveryDelivered;
}

Result<void> DeliveryServiceObject::saveSentCopyAndTidy(Delivery& delivery) {
    if (delivery.state.stage != Stage::SentCopied) {
        auto sent = library_.mailbox(delivery.state.account, MailboxKind::Sent, true);
        if (!sent) return failure(deliveryError(DeliveryError::Failed, "There is no mailbox for sent mail."));
        auto copy = library_.add(*sent, delivery.content, {.seen = true}, RunLoop::main().now(),
                                 deterministicName("out-", delivery.messageID, delivery.state.uniqueID));
        if (!copy) return failed(copy);
        if (auto noted = journal_.noteStage(delivery.state, Stage::SentCopied); !noted) return noted;
        delivery.state.stage = Stage::SentCopied;
    }
    auto removed = files_.remove(delivery.state.claimedFile);
    if (removed) removed = files_.syncFolder(delivery.state.claimedFile.parent_path());
    return removed ? journal_.end(delivery.state) : removed;
}

int DeliveryServiceObject::releaseAfterFailure(Delivery& delivery, const SmtpOutcome& outcome) {
    const bool refused = outcome.kind == SmtpOutcome::Kind::Refused;
    std::string answer = outcome.answer.empty() ? sentences(outcome.refused) : outcome.answer;
    const bool isNews = records_.record(delivery.state.uniqueID).lastAnswer != answer;
    records_.noteFailure(delivery.state.uniqueID, answer, refused, RunLoop::main().now());
    if (auto back = putBack(delivery); !back) {
        // It stays claimed, and the next start puts it back.
        tell("\"" + delivery.subject + "\" could not be put back into the outbox: " + back.error().description,
             delivery.state.uniqueID);
        return kDeliveryFailed;
    }
    unshow(delivery.state.uniqueID);
    lastFailure_ = deliveryError(!isNews   ? DeliveryError::NotTried
                                 : refused ? DeliveryError::Refused
                                           : DeliveryError::Failed,
                                 refused ? answer : answer + " It will be tried again.");
    return kDeliveryFailed;
}

// First that nothing has left, then the message into the outbox under its old name, then the claim goes: cut off
// anywhere, the next start finds one of these and ends the same.
Result<void> DeliveryServiceObject::putBack(Delivery& delivery) {
    auto outbox = library_.mailbox(delivery.state.account, MailboxKind::Outbox, true);
    if (!outbox) return failure(deliveryError(DeliveryError::Failed, "There is no outbox."));
    if (auto noted = journal_.noteStage(delivery.state, Stage::Claimed); !noted) return noted;
    auto back = library_.add(*outbox, delivery.content, {.seen = true}, RunLoop::main().now(),
                             delivery.state.claimedFile.filename().string());
    if (!back) return failed(back);
    auto removed = files_.remove(delivery.state.claimedFile);
    if (removed) removed = files_.syncFolder(delivery.state.claimedFile.parent_path());
    return removed ? journal_.end(delivery.state) : removed;
}

int DeliveryServiceObject::keepInDoubt(Delivery& delivery, const std::string& answer) {
    if (standsAmongSent(delivery)) return finishAccepted(delivery, {SmtpOutcome::Kind::Accepted, {}, {}});
    ++delivery.state.attempts;
    show(delivery, DeliveryStatus::State::InDoubt, answer);
    tell("\"" + delivery.subject +
             "\" was perhaps sent: the connection broke before the server answered. Look into the "
             "outbox and decide.",
         delivery.state.uniqueID);
    std::scoped_lock lock(lock_);
    inDoubt_[delivery.state.uniqueID] = std::move(delivery);
    return kDeliveryInDoubt;
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

}  // namespace qs
