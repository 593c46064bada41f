// The road of a message from the Send button into the outbox.
#include <algorithm>

#include "Compose/ComposeSession.h"
#include "Compose/Drafts.h"
#include "Compose/UploadUnderWay.h"
#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/MailAccount.h"
#include "MailEngine.h"
#include "Mime/MessageWriter.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"

namespace qs {

namespace {

std::optional<Obstacle> filesToWaitFor(const std::vector<std::string>& files) {
    if (files.empty()) return {};
    return Obstacle{UploadUnderWay::sentenceAbout(files),
                    files.size() == 1 ? "Wait until it is attached, or stop attaching it, then send again."
                                      : "Wait until they are attached, or stop attaching them, then send again."};
}

}  // namespace

void ComposeSession::send() {
    if (closed_ || busy_ || isAsking()) return;
    const auto self = shared_from_this();
    try {
        compose_controller::send(*controller_, nullptr);
    } catch (const std::exception&) {
        logCaughtException("A message could not be sent");
        ask("The message could not be sent", "Something went wrong on the way. The message stays open.", {"OK"});
    }
}

void ComposeSession::sendNow() {
    if (closed_ || busy_) return;
    const auto self = shared_from_this();
    auto obstacle = obstacleToSending(fields(Purpose::Sending));
    if (!obstacle) obstacle = filesToWaitFor(UploadUnderWay::filesOf(*window_));
    if (obstacle) {
        ask(obstacle->title, obstacle->text, {"OK"});
        return;
    }
    // One Message-Id for all attempts: whatever becomes of one that failed, it can be told apart from none.
    if (messageID_.empty()) messageID_ = newMessageID(fromAddress_);
    const auto message = build(Purpose::Sending);
    const auto folder = message ? attachments_->make() : Result<void>();
    if (!message || !folder) {
        ask("The message could not be sent",
            (message ? folder.error() : message.error()).description + " The message stays open.", {"OK"});
        return;
    }
    startJob({.engine = &engine_,
              .folder = attachments_->path(),
              .account = accountIdentifier(),
              .uniqueID = uniqueID_,
              .messageID = messageID_,
              .subject = title(),
              .message = *message,
              .held = heldVersions()});
}

// Whether the message that waited when it was opened still waits, or was taken back by the person.
bool ComposeSession::isStillOurs(const std::vector<MessageSummary>& held) const {
    const Message& original = *start_.original;
    if (std::ranges::any_of(held, [&](const auto& one) { return one.id == original.libraryID(); })) return true;
    for (const MessageRef& copy : engine_.library().messagesWithMessageIDHeader(original.messageID())) {
        const auto mailbox = copy->mailbox();
        if (mailbox && (mailbox->kind() == MailboxKind::Drafts || mailbox->kind() == MailboxKind::Trash)) return true;
    }
    return false;
}

// The versions of this message that wait in an outbox: the one that the window was opened from.
std::vector<MessageSummary> ComposeSession::heldVersions() const {
    auto held = messagesWithUniqueID(engine_.library(), engine_.accounts(), MailboxKind::Outbox, uniqueID_);
    if (!start_.isHeld || isStillOurs(held)) return held;
    // Taken by a delivery: the job will miss it and say so.
    MessageSummary gone;
    gone.id = start_.original->libraryID();
    held.push_back(std::move(gone));
    return held;
}

void ComposeSession::startJob(SendJob job) {
    busy_ = true;
    if (autosaveTimer_) autosaveTimer_->invalidate();
    noteModelChange();
    work_.add([weak = weak_from_this(), job = std::move(job)] {
        const auto outcome = job.run();
        RunLoop::main().post([weak, job, outcome] {
            if (const auto self = weak.lock()) self->jobEnded(job, outcome);
        });
    });
}

void ComposeSession::jobEnded(const SendJob& job, const SendJob::Outcome& outcome) {
    if (outcome.kind == SendJob::Outcome::Kind::Queued) return wasQueued(outcome.message);
    busy_ = false;
    noteModelChange();
    if (outcome.kind == SendJob::Outcome::Kind::Failed) {
        logError("A message could not be put into the outbox: " + outcome.error.description);
        if (needsSaving()) scheduleAutosave();
        ask("The message could not be sent", outcome.error.description + " It stays open, and nothing was sent.",
            {"OK"});
        return;
    }
    const int answer = ask("This message has left the outbox",
                           "It was sent, or is being sent, as it was before you changed it. Send the changed message "
                           "as well?",
                           {"Send Again", "Cancel"});
    if (answer != 0 || closed_ || busy_) return;
    SendJob again = job;
    again.held.clear();
    startJob(std::move(again));
}

void ComposeSession::wasQueued(const MessageRef& message) {
    try {
        compose_controller::backEndDidAppendMessageToOutbox(*controller_, *backEnd_,
                                                            {message, backEnd_->deliveryAccount()});
    } catch (const std::exception&) {
        logCaughtException("A plug-in failed after a message was put into the outbox");
    }
    keeper_.end();
    eraseDrafts(engine_.library(), engine_.accounts(), uniqueID_);
    markOriginals();
    if (const auto queue = DeliveryQueue::sharedDeliveryQueue()) queue->resetStateAndReprocessQueue();
    finishClosing();
}

void ComposeSession::markOriginals() {
    const auto mark = [this](const std::string& messageID, const FlagChange& change) {
        if (messageID.empty()) return;
        std::vector<std::int64_t> ids;
        for (const MessageRef& copy : engine_.library().messagesWithMessageIDHeader(messageID))
            ids.push_back(copy->libraryID());
        if (ids.empty()) return;
        if (const auto marked = engine_.library().setFlags(ids, change); !marked)
            logWarning("The message that was answered could not be marked: " + marked.error().description);
    };
    mark(start_.answers, {.answered = true});
    mark(start_.forwards, {.forwarded = true});
}

}  // namespace qs
