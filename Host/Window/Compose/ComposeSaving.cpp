// Drafts: when they are saved, and what becomes of them when the window closes.
#include <algorithm>

#include "Compose/ComposeSession.h"
#include "Compose/Drafts.h"
#include "Compose/UploadUnderWay.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "Mime/MessageWriter.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Text/Ascii.h"

namespace qs {
namespace {

constexpr TimeInterval kPauseBeforeSaving = 2;
constexpr TimeInterval kLongestUnsaved = 30;  // while somebody types without a pause
constexpr TimeInterval kPauseAfterFailure = 30;
constexpr std::uint64_t kBytesPerSecondOfPause = 4u << 20;

bool isEmpty(const std::vector<std::string>& recipients) { return recipients.empty(); }

}  // namespace

// Nothing that a person would miss. Automatic blind copies don't count.
bool ComposeSession::isBlank() const {
    return isEmpty(to()) && isEmpty(cc()) && trimmedAscii(subject()).empty() && attachments_->all().empty() &&
           trimmedAscii(editor_->document().plainText()).empty();
}

// What was written and taken out again is not.
bool ComposeSession::isWorthADraft() const { return touched_ && (!isBlank() || start_.original); }

bool ComposeSession::needsSaving() const {
    if (closed_ || !touched_ || version_ == savedVersion_) return false;
    return !isBlank() || start_.original || keeper_.hasSaved();
}

void ComposeSession::scheduleAutosave() {
    if (!touched_ || busy_ || closed_) return;
    const TimeInterval now = RunLoop::main().uptime();
    if (!unsavedSince_) unsavedSince_ = now;
    std::uint64_t attached = 0;
    for (const ComposeAttachment& attachment : attachments_->all())
        attached += attachment.size;
    // Putting large attachments into a message takes a while each time, in which nothing else happens.
    const TimeInterval pause = kPauseBeforeSaving + static_cast<double>(attached / kBytesPerSecondOfPause);
    const TimeInterval delay =
        std::clamp(*unsavedSince_ + kLongestUnsaved - now, 0.0, std::min(pause, kLongestUnsaved));
    if (autosaveTimer_) autosaveTimer_->invalidate();
    autosaveTimer_ = RunLoop::main().after(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->autosave();
    });
}

void ComposeSession::autosave() {
    // One at a time: the end of the one under way looks for what came since.
    if (busy_ || saving_ || !needsSaving()) return;
    const auto message = build(Purpose::Draft);
    if (!message) return autosaveEnded(version_, failed(message));
    saving_ = true;
    unsavedSince_.reset();
    // The destructor waits for this, so `this` is alive; a completion may come too late.
    work_.add([this, weak = weak_from_this(), account = accountIdentifier(), version = version_, message = *message,
               now = RunLoop::main().now()] {
        const auto saved = keeper_.save(account, version, sourceOf(*message), now);
        RunLoop::main().post([weak, version, saved] {
            const auto self = weak.lock();
            if (!self) return;
            self->saving_ = false;
            self->autosaveEnded(version, saved);
        });
    });
}

void ComposeSession::autosaveEnded(int version, const Result<void>& result) {
    if (closed_) return;
    if (result) {
        didSave(version);
        if (needsSaving()) scheduleAutosave();
        return;
    }
    logError("A draft could not be saved; trying again in 30 seconds: " + result.error().description);
    status_ = "The draft could not be saved: " + result.error().description;
    noteModelChange();
    if (autosaveTimer_) autosaveTimer_->invalidate();
    autosaveTimer_ = RunLoop::main().after(kPauseAfterFailure, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->autosave();
    });
}

void ComposeSession::didSave(int version) {
    savedVersion_ = std::max(savedVersion_, version);
    status_ =
        stringWithFormat("Draft saved %@", {formatDate(RunLoop::main().now(), {.pattern = "HH:mm", .locale = ""})});
    noteModelChange();
}

Result<void> ComposeSession::saveDraft() {
    if (!needsSaving()) return {};
    const auto message = build(Purpose::Draft);
    if (!message) return failed(message);
    const auto saved = keeper_.save(accountIdentifier(), version_, sourceOf(**message), RunLoop::main().now());
    if (!saved) return failed(saved);
    unsavedSince_.reset();
    if (autosaveTimer_) autosaveTimer_->invalidate();
    didSave(version_);
    return {};
}

void ComposeSession::saveAsAsked() {
    if (!canDo("saveDocument:")) return;
    const auto self = shared_from_this();
    if (!touched_ && !isBlank()) touch();
    if (const auto saved = saveDraft(); !saved) ask("The draft could not be saved", saved.error().description, {"OK"});
}

void ComposeSession::discardAsAsked() {
    if (!canDo("discardMessage:") || asking_) return;
    const auto self = shared_from_this();
    const char* text = start_.original ? "The message stays as it was before you opened it."
                                       : "The message and its draft are deleted.";
    if (isWorthADraft() && askBeforeClosing("Discard what you have written?", text, {"Discard", "Cancel"}) != 0) return;
    closeDiscarding();
}

void ComposeSession::close(Closing closing) {
    if (closed_ || asking_) return;
    if (busy_) return beep();
    const auto self = shared_from_this();
    switch (closing) {
    case Closing::Save: return closeSaving();
    case Closing::Discard: return closeDiscarding();
    case Closing::Ask: return closeAsking();
    }
}

void ComposeSession::closeAsking() {
    // Once asked, there may be something to save all the same: the file, come meanwhile.
    if (const auto files = UploadUnderWay::filesOf(*window_); !files.empty() && !isWorthADraft()) {
        const std::string title = UploadUnderWay::sentenceAbout(files);
        if (askBeforeClosing(title, "Close the message all the same?", {"Close", "Cancel"}) != 0) return;
    }
    if (!touched_) return finishClosing();
    if (!isWorthADraft()) return closeDiscarding();
    const auto files = UploadUnderWay::filesOf(*window_);
    std::string text = start_.isHeld ? "It then leaves the outbox and waits among the drafts until you send it."
                                     : "You can go on writing it later.";
    if (!files.empty()) text = UploadUnderWay::sentenceAbout(files) + " and will be missing from the draft. " + text;
    const int answer = askBeforeClosing("Save this message as a draft?", text, {"Save", "Discard", "Cancel"});
    if (answer == 0) closeSaving();
    if (answer == 1) closeDiscarding();
}

int ComposeSession::askBeforeClosing(std::string title, std::string text, std::vector<std::string> buttons) {
    asking_ = true;
    const int answer = ask(std::move(title), std::move(text), std::move(buttons));
    asking_ = false;
    return answer;
}

void ComposeSession::closeSaving() {
    if (closed_ || busy_) return;
    if (const auto saved = saveDraft(); !saved) {
        ask("The draft could not be saved", saved.error().description + " The message stays open.", {"OK"});
        return;
    }
    // The draft now stands for the message that waited; two of them would both be sent one day.
    if (start_.isHeld && keeper_.hasSaved())
        for (const MessageSummary& held : heldVersions())
            if (const auto erased = engine_.library().erase({held.id}); !erased)
                logError("A message stays in the outbox beside its draft: " + erased.error().description);
    finishClosing();
}

void ComposeSession::closeDiscarding() {
    if (closed_ || busy_) return;
    if (const auto reverted = keeper_.revert(RunLoop::main().now()); !reverted) {
        ask("The draft could not be put back", reverted.error().description + " The message stays open.", {"OK"});
        return;
    }
    finishClosing();
}

void ComposeSession::finishClosing() {
    if (closed_) return;
    closed_ = true;
    if (autosaveTimer_) autosaveTimer_->invalidate();
    keeper_.end();
    attachments_->erase();
    window_->setVisible(false);
    application_.composeWindowDidClose(*this);
}

}  // namespace qs
