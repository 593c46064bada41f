#include "Compose/SendJob.h"

#include <algorithm>

#include "AccountBook.h"
#include "Compose/AttachmentFolder.h"
#include "Compose/Drafts.h"
#include "DeliveryService.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Mail/MailAccount.h"
#include "MailEngine.h"
#include "MailLibrary.h"

namespace qs {
namespace {

constexpr const char* kIntentFile = "sending.plist";
constexpr const char* kMessageID = "MessageID";
constexpr const char* kUniqueID = "UniqueID";
constexpr const char* kSubject = "Subject";

bool isInOutbox(MailLibrary& library, std::int64_t id) {
    const auto message = library.messageWithID(id);
    const auto mailbox = message ? message->mailbox() : nullptr;
    return mailbox && mailbox->kind() == MailboxKind::Outbox;
}

// The special mailbox beside the one that a message stands in.
std::shared_ptr<Mailbox> mailboxBeside(MailLibrary& library, const std::string& mailbox, MailboxKind kind) {
    const auto known = library.mailboxWithIdentifier(mailbox);
    const auto account = known ? known->account() : nullptr;
    return account ? library.mailbox(account->identifier(), kind, true) : nullptr;
}

// Waiting, taken by a delivery, sent, or arrived in an account of ours.
bool hasLeftTheWindow(MailEngine& engine, const std::string& messageID, const std::string& uniqueID) {
    for (const MessageRef& copy : engine.library().messagesWithMessageIDHeader(messageID)) {
        const auto mailbox = copy->mailbox();
        if (mailbox && mailbox->kind() != MailboxKind::Drafts) return true;
    }
    return std::ranges::any_of(engine.deliveries().taken(),
                               [&](const DeliveryStatus& status) { return status.uniqueID == uniqueID; });
}

void settleSend(MailEngine& engine, const Value& intent, const std::function<void(std::string)>& tell) {
    const std::string messageID = intent[kMessageID].stringValue(), uniqueID = intent[kUniqueID].stringValue();
    if (messageID.empty() || uniqueID.empty()) return;
    const auto drafts = messagesWithUniqueID(engine.library(), engine.accounts(), MailboxKind::Drafts, uniqueID);
    if (drafts.empty()) return;
    // Taken back out of the outbox: this draft is the message itself.
    if (std::ranges::any_of(drafts, [&](const MessageSummary& draft) { return draft.messageID == messageID; })) return;
    if (hasLeftTheWindow(engine, messageID, uniqueID))
        return eraseDrafts(engine.library(), engine.accounts(), uniqueID);
    tell(stringWithFormat("“%@” was not sent, as the program ended before. You find it among the drafts.",
                          {intent[kSubject].stringValue()}));
}

}  // namespace

Result<void> SendJob::writeIntent() const {
    const Dictionary intent = {{kMessageID, messageID}, {kUniqueID, uniqueID}, {kSubject, subject}};
    return engine->files().replace(folder / kIntentFile, xmlPropertyList(intent));
}

void SendJob::dropIntent() const {
    if (const auto removed = engine->files().remove(folder / kIntentFile); !removed)
        logWarning("The note of a send that failed stays until the window closes: " + removed.error().description);
}

bool SendJob::isAmongDrafts(const MessageSummary& one) const {
    const auto drafts = messagesWithUniqueID(engine->library(), engine->accounts(), MailboxKind::Drafts, uniqueID);
    return std::ranges::any_of(drafts, [&](const auto& draft) { return draft.messageID == one.messageID; });
}

Result<bool> SendJob::takeHeldOut() const {
    MailLibrary& library = engine->library();
    for (const MessageSummary& one : held) {
        if (!isInOutbox(library, one.id)) return false;
        const auto drafts = mailboxBeside(library, one.mailbox, MailboxKind::Drafts);
        if (!drafts) return failure("Mail", 1, "There is no mailbox for drafts.");
        if (const auto moved = engine->deliveries().takeBack({one.id}, *drafts); !moved) {
            if (!isInOutbox(library, one.id) && !isAmongDrafts(one)) return false;
            return failed(moved);
        }
    }
    return true;
}

void SendJob::putHeldBack() const {
    MailLibrary& library = engine->library();
    for (const MessageSummary& one : held) {
        const auto outbox = library.mailboxWithIdentifier(one.mailbox);
        for (const MessageSummary& draft :
             messagesWithUniqueID(library, engine->accounts(), MailboxKind::Drafts, uniqueID)) {
            if (!outbox || draft.messageID != one.messageID) continue;
            if (const auto moved = library.move({draft.id}, *outbox); !moved)
                logError("A message that waited in the outbox is now among the drafts: " + moved.error().description);
        }
    }
}

SendJob::Outcome SendJob::run() const {
    Outcome outcome;
    if (const auto written = writeIntent(); !written) {
        outcome.error = written.error();
        return outcome;
    }
    const auto taken = takeHeldOut();
    if (taken && *taken) {
        if (auto appended = engine->deliveries().append(account, *message)) {
            outcome.kind = Outcome::Kind::Queued;
            outcome.message = std::move(*appended);
            return outcome;
        } else {
            outcome.error = appended.error();
        }
    } else if (taken) {
        outcome.kind = Outcome::Kind::HeldIsGone;
    } else {
        outcome.error = taken.error();
    }
    putHeldBack();
    dropIntent();
    return outcome;
}

void settleSends(MailEngine& engine, const std::vector<std::filesystem::path>& folders,
                 const std::function<void(std::string)>& tell) {
    for (const std::filesystem::path& folder : folders) {
        if (const auto text = engine.files().read(folder / kIntentFile)) {
            if (const auto intent = parsePropertyList(*text))
                settleSend(engine, *intent, tell);
            else
                logWarning("A note of a send can't be read: " + intent.error().description);
        }
        eraseFolder(engine.files(), folder);
    }
}

}  // namespace qs
