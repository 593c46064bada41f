// How one message is delivered: claim, journal, transmit, journal, keep the sent copy, tidy. All on the queue's thread.
#include <algorithm>

#include "AccountBook.h"
#include "Accounts/AccountSecrets.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailLibrary.h"
#include "Mime/MessageWriter.h"
#include "Text/Ascii.h"
#include "Text/Digests.h"

namespace qs {

namespace {

using Stage = DeliveryJournal::Stage;

// The same for the same message and recipient, so that delivering it twice finds the first. The content counts, too:
// anybody can choose a Message-Id, and some messages have none.
Result<std::string> inboxName(std::string_view messageID, std::string_view recipient, ByteSource content) {
    const std::string text = std::string(messageID) + "\n" + asciiLowered(recipient) + "\n";
    const auto digest = SHA256HexDigestOf(sourceOf(text, std::move(content)));
    if (!digest) return failed(digest);
    return "in-" + digest->substr(0, 32);
}

std::string sentences(const std::map<std::string, std::string>& refused) {
    std::string text;
    for (const auto& [recipient, why] : refused)
        text += (text.empty() ? "" : " ") + why;
    return text;
}

// With several recipients the last answer alone would not tell who is meant.
std::string answerOf(const SmtpOutcome& outcome) {
    const auto& [forGood, forNow] = outcome.refused;
    if (!outcome.answer.empty() && forGood.size() + forNow.size() < 2) return outcome.answer;
    if (outcome.refused.empty()) return outcome.answer;
    return sentences(forGood) + (forGood.empty() || forNow.empty() ? "" : " ") + sentences(forNow);
}

// A server may refuse an access token before its time.
bool mayHaveAnotherToken(const AccountRecord& account) {
    if (account.outgoing->authentication != ServerAuthentication::XOAuth2) return false;
    const auto token = account_secrets::secretFor(account, ServerSide::Outgoing);
    if (token) account_secrets::tokenWasRefused(account, *token);
    return token.has_value();
}

}  // namespace

int DeliveryServiceObject::deliver(const MessageRef& message, MailAccount& account) {
    const Date now = RunLoop::main().now();
    if (mayLeave_ != message->libraryID() && message->dateReceived().isAheadOf(now)) {
        hold(*message, message->dateReceived());
        return kDeliveryNotDelivered;
    }
    const AccountRecord* found = accounts_.find(account.identifier());
    const auto summary = library_.summary(message->libraryID());
    if (!found || !summary || isBeingTakenBack(summary->id)) return kDeliveryNotDelivered;
    const AccountRecord record = *found;
    const std::string key = keyOf(*summary);
    const DeliveryRecord past = records_.record(key);
    const Date due = records_.dueDate(key, now);
    if (past.refused) return kDeliveryNotDelivered;
    if (due > now) {
        walkAgainAt(due);
        return kDeliveryNotDelivered;
    }
    // Shown before it leaves the outbox: whoever counts the messages must not miss it in between.
    showTaking(*summary, record.identifier, key, past);
    auto claimed = library_.claim(message->libraryID(), claimedFolder(record.identifier));
    if (!claimed) {
        unshow(key);
        // Somebody else was quicker, or the disk is full: the message is where it was.
        logInfo("A message of the outbox was not taken: " + claimed.error().description);
        return kDeliveryNotDelivered;
    }
    auto delivery = read(
        {.account = record.identifier, .claimedFile = *claimed, .reached = past.reached, .attempts = past.attempts});
    if (!delivery) {
        putAside(*claimed, delivery.error());
        unshow(key);
        return kDeliveryNotDelivered;
    }
    return transmitAndSettle(*delivery, record);
}

int DeliveryServiceObject::transmitAndSettle(Delivery& delivery, const AccountRecord& account) {
    SmtpOutcome outcome;
    if (auto begun = journal_.begin(delivery.state); !begun) {
        outcome.answer = begun.error().description;
    } else {
        outcome = transmit(delivery, account);
        if (outcome.isSignInRefused && mayHaveAnotherToken(account)) outcome = transmit(delivery, account);
    }
    // The others have it, so this is the end of it, and no message that waits for a better answer.
    const bool isForTheLast = outcome.kind == SmtpOutcome::Kind::Refused && !outcome.refused.forGood.empty() &&
                              !delivery.state.reached.empty();
    if (isForTheLast && noteRefused(delivery, outcome.refused)) return finishAccepted(delivery);
    switch (outcome.kind) {
    case SmtpOutcome::Kind::Accepted: return finishAccepted(delivery);
    case SmtpOutcome::Kind::InDoubt: return keepInDoubt(delivery, outcome.answer);
    case SmtpOutcome::Kind::Temporary:
    case SmtpOutcome::Kind::Refused: break;
    }
    return releaseAfterFailure(delivery, outcome);
}

SmtpOutcome DeliveryServiceObject::transmit(Delivery& delivery, const AccountRecord& account) {
    if (delivery.recipients.empty())
        return delivery.state.reached.empty() ? SmtpOutcome{SmtpOutcome::Kind::Refused, "It has no recipients.", {}}
                                              : SmtpOutcome{SmtpOutcome::Kind::Accepted, {}, {}};
    if (!account.outgoing) return deliverLocally(delivery, account);
    auto content = contentOf(delivery);
    if (!content) return {SmtpOutcome::Kind::Temporary, content.error().description, {}};
    const auto noteFinalDot = [&](const SmtpRefusals& refused) {
        if (!noteRefused(delivery, refused) || !journal_.noteStage(delivery.state, Stage::FinalDot)) return false;
        delivery.state.stage = Stage::FinalDot;
        return true;
    };
    SubmissionServer server = *account.outgoing;
    server.secret = [&account] { return account_secrets::secretFor(account, ServerSide::Outgoing); };
    return sendOverSmtp(
        server, {delivery.from, delivery.recipients, {delivery.transmittedSize, transmittedForm(std::move(*content))}},
        {.beforeFinalDot = noteFinalDot,
         .accepted = [&] { noteAccepted(delivery); },
         .isCancelled = [this] { return stopping_.load(); }});
}

// Kept before the message can count as delivered, so that the person learns it even after a crash.
Result<void> DeliveryServiceObject::noteRefused(Delivery& delivery, const SmtpRefusals& refused) {
    for (const auto& [recipient, why] : refused.forGood)
        if (auto noted = journal_.noteRefused(delivery.state, recipient, why); !noted) return noted;
    for (const auto& [recipient, why] : refused.forNow)
        if (auto noted = journal_.noteLater(delivery.state, recipient, why); !noted) return noted;
    delivery.state.refused = refused.forGood;
    delivery.state.later = refused.forNow;
    return {};
}

Result<void> DeliveryServiceObject::addToInbox(const Delivery& delivery, Mailbox& inbox, const std::string& recipient) {
    auto content = contentOf(delivery), sameContent = contentOf(delivery);
    if (!content || !sameContent) return failed(content ? sameContent : content);
    const auto name = inboxName(delivery.messageID, recipient, transmittedForm(std::move(*content)));
    if (!name) return failed(name);
    const auto added =
        library_.addFrom(inbox, transmittedForm(std::move(*sameContent)), {}, RunLoop::main().now(), *name);
    return added ? Result<void>() : failed(added);
}

// Each inbox has it at most once, whatever happens in between: the name says which message it is.
SmtpOutcome DeliveryServiceObject::deliverLocally(Delivery& delivery, const AccountRecord& account) {
    using Kind = SmtpOutcome::Kind;
    std::map<std::string, std::string> refused;
    for (const auto& recipient : delivery.recipients) {
        const AccountRecord* target = accounts_.withAddress(recipient);
        if (!target) {
            refused[recipient] =
                stringWithFormat("%@ is no account of this program, and %@ has no server to send it through.",
                                 {recipient, account.displayName});
            continue;
        }
        auto inbox = library_.mailbox(target->identifier, MailboxKind::Inbox, true);
        if (!inbox) return {Kind::Temporary, recipient + " has no inbox.", {}};
        if (auto added = addToInbox(delivery, *inbox, recipient); !added)
            return {Kind::Temporary, added.error().description, {}};
        delivery.state.reached.insert(recipient);
        if (auto noted = journal_.noteReached(delivery.state, recipient); !noted)
            return {Kind::Temporary, noted.error().description, {}};
    }
    if (delivery.state.reached.empty()) return {Kind::Refused, sentences(refused), {refused, {}}};
    if (auto noted = noteRefused(delivery, {refused, {}}); !noted)
        return {Kind::Temporary, noted.error().description, {}};
    return {Kind::Accepted, {}, {refused, {}}};
}

void DeliveryServiceObject::noteAccepted(Delivery& delivery) {
    if (delivery.state.stage == Stage::Accepted) return;
    if (auto noted = journal_.noteStage(delivery.state, Stage::Accepted); !noted)
        logError("The delivery of a message could not be noted: " + noted.error().description);
    delivery.state.stage = Stage::Accepted;
}

int DeliveryServiceObject::finishAccepted(Delivery& delivery) {
    noteAccepted(delivery);
    const auto later = delivery.state.later;
    tellRefused(delivery);
    if (auto saved = saveSentCopyAndTidy(delivery); !saved) {
        // It has left all the same; the next walk tries to keep the copy again.
        tellUnsettled(delivery, DeliveryStatus::State::Sending,
                      "It was sent, but no copy could be kept yet: " + saved.error().description);
        return kDeliveryDelivered;
    }
    if (!later.empty()) return waitForTheRest(delivery, later);
    records_.forget(delivery.state.uniqueID);
    unshow(delivery.state.uniqueID);
    return kDeliveryDelivered;
}

// It stands in the outbox again, for those recipients alone.
int DeliveryServiceObject::waitForTheRest(const Delivery& delivery, const std::map<std::string, std::string>& later) {
    const std::string answer = sentences(later) + " The others have it.";
    const Date now = RunLoop::main().now();
    const bool isNews = records_.record(delivery.state.uniqueID).lastAnswer != answer;
    records_.noteFailure(delivery.state.uniqueID, answer, false, now);
    walkAgainAt(records_.dueDate(delivery.state.uniqueID, now));
    unshow(delivery.state.uniqueID);
    lastFailure_ = Error{std::string(kDeliveryErrorDomain),
                         static_cast<int>(isNews ? DeliveryError::ReachedSome : DeliveryError::NotTried),
                         answer + " It will be tried again.",
                         {}};
    return kDeliveryFailed;
}

int DeliveryServiceObject::releaseAfterFailure(Delivery& delivery, const SmtpOutcome& outcome) {
    const bool refused = outcome.kind == SmtpOutcome::Kind::Refused;
    const std::string answer = answerOf(outcome);
    const bool isNews = records_.record(delivery.state.uniqueID).lastAnswer != answer;
    const Date now = RunLoop::main().now();
    // Breaking off because the program ends is nobody's failure.
    if (!stopping_) records_.noteFailure(delivery.state.uniqueID, answer, refused, now);
    if (!refused && !stopping_) walkAgainAt(records_.dueDate(delivery.state.uniqueID, now));
    if (auto back = putBack(delivery); !back) {
        // It stays claimed, and the next walk puts it back.
        tellUnsettled(delivery, DeliveryStatus::State::Failed,
                      answer + " It could not be put back into the outbox: " + back.error().description);
        return kDeliveryFailed;
    }
    unshow(delivery.state.uniqueID);
    const auto code = !isNews ? DeliveryError::NotTried : refused ? DeliveryError::Refused : DeliveryError::Failed;
    lastFailure_ = Error{std::string(kDeliveryErrorDomain),
                         static_cast<int>(code),
                         refused ? answer : answer + " It will be tried again.",
                         {}};
    return kDeliveryFailed;
}

int DeliveryServiceObject::keepInDoubt(Delivery& delivery, const std::string& answer) {
    // A message that some have already has its copy from then, which tells nothing.
    if (delivery.state.reached.empty() && standsAmongSent(delivery)) {
        // The server, or an earlier life, put the copy there: no second one.
        delivery.state.stage = Stage::SentCopied;
        const auto later = delivery.state.later;
        tellRefused(delivery);
        if (auto settled = saveSentCopyAndTidy(delivery); !settled)
            logWarning("A delivery is not tidied up: " + settled.error().description);
        else if (!later.empty())
            return waitForTheRest(delivery, later);
        records_.forget(delivery.state.uniqueID);
        unshow(delivery.state.uniqueID);
        return kDeliveryDelivered;
    }
    ++delivery.state.attempts;
    {
        std::scoped_lock lock(lock_);
        // Two messages of one name are two questions.
        if (inDoubt_.contains(delivery.state.uniqueID))
            delivery.state.uniqueID += " " + delivery.state.claimedFile.filename().string();
        doubtful_.insert(delivery.state.claimedFile.filename());
        inDoubt_[delivery.state.uniqueID] = delivery;
    }
    show(delivery, DeliveryStatus::State::InDoubt, answer);
    tell("“" + delivery.subject + "” was perhaps sent: " + answer + " Look into the outbox and decide.",
         delivery.state.uniqueID);
    return kDeliveryInDoubt;
}

}  // namespace qs
