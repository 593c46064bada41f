// One compose window: what the page changes and what plug-ins change comes together here, is saved as a draft, sent or
// given up. Its sources: ComposeSession.cpp (opening, what it shows), ComposeEditing.cpp (what the page does),
// ComposeSaving.cpp (drafts, closing), ComposeSending.cpp.
//
// Main thread. Building a message happens here; writing it to the disk happens on a queue of the window's own, one
// thing after the other.
#pragma once

#include <optional>

#include "Compose/ComposeObjects.h"
#include "Compose/ComposeStart.h"
#include "Compose/DraftKeeper.h"
#include "Compose/OutgoingHeaders.h"
#include "Compose/SendJob.h"
#include "ComposeWindow.h"
#include "Foundation/RunLoop.h"

namespace qs {

class ComposeSession final : public ComposeWindow, public std::enable_shared_from_this<ComposeSession> {
public:
    ComposeSession(MailApplication& application, ComposeStart start, std::shared_ptr<AttachmentFolder> attachments);
    ~ComposeSession() override;  // waits for what is being written
    // Makes the window and its objects and shows them.
    void begin();

    // ComposeWindow
    std::shared_ptr<ComposeController> controller() const override { return controller_; }
    std::shared_ptr<Window> window() const override { return window_; }
    std::string title() const override;
    std::string accountIdentifier() const override { return backEnd_->accountIdentifier(); }
    std::string sender() const override;
    std::vector<std::string> to() const override { return headers_->toField()->addresses(); }
    std::vector<std::string> cc() const override { return headers_->ccField()->addresses(); }
    std::vector<std::string> bcc() const override { return headers_->bccField()->addresses(); }
    std::string subject() const override { return headers_->subject(); }
    std::string bodyHtml() const override;
    int bodyRevision() const override { return bodyRevision_; }
    bool isPlainText() const override { return plainText_; }
    std::vector<ComposeAttachment> attachments() const override { return attachments_->all(); }
    std::vector<ComposeRow> extraRows() const override { return headers_->rows(); }
    std::string statusText() const override { return status_; }
    bool isBusy() const override { return busy_; }
    void update(const ComposeUpdate& update) override;
    Result<std::string> addAttachmentFrom(std::string_view fileName, const SizedSource& content,
                                          bool isInline) override;
    void removeAttachment(std::string_view identifier) override;
    Result<std::shared_ptr<const OpenFile>> openAttachment(std::string_view identifier) override;
    void send() override;
    Result<void> saveDraft() override;
    void close(Closing closing) override;

    // For the controller.
    bool isClosed() const { return closed_; }
    bool canDo(std::string_view action) const;
    bool isAsking() const;  // a sheet or an alert of the window waits for an answer
    void sendNow();         // the host's own send, behind whatever a plug-in does first
    void attachmentsDidChange();
    void saveAsAsked();
    void discardAsAsked();
    void togglePlainText();
    void setPlainText(bool plainText);
    void chooseFile();

    // Whether this window edits the message with that unique id.
    bool edits(std::string_view uniqueID) const { return uniqueID == uniqueID_; }

private:
    enum class Purpose { Draft, Sending };

    // Somebody changed something: save it soon. `touch` also tells that it was the person.
    void didChange();
    void touch();
    void bodyDidChange();
    void senderDidChange(const std::string& sender);
    void tellAttachmentsChanged();

    OutgoingFields fields(Purpose purpose) const;
    ComposeContents contents() const;
    // Through the exchangeable operation. A fault of a plug-in there is an error here.
    Result<std::shared_ptr<OutgoingMessage>> build(Purpose purpose);

    bool isBlank() const;
    bool isWorthADraft() const;
    bool needsSaving() const;
    void scheduleAutosave();
    void autosave();
    void autosaveEnded(int version, const Result<void>& result);
    void didSave(int version);
    void closeAsking();
    int askBeforeClosing(std::string title, std::string text, std::vector<std::string> buttons);
    void closeSaving();
    void closeDiscarding();
    void finishClosing();

    std::vector<MessageSummary> heldVersions() const;
    bool isStillOurs(const std::vector<MessageSummary>& held) const;
    void startJob(SendJob job);
    void jobEnded(const SendJob& job, const SendJob::Outcome& outcome);
    void wasQueued(const MessageRef& message);
    void markOriginals();
    int ask(std::string title, std::string text, std::vector<std::string> buttons);

    MailApplication& application_;
    MailEngine& engine_;
    ComposeStart start_;  // what the objects took over is moved out
    const std::string uniqueID_;
    std::string fromAddress_;
    std::string messageID_;  // given at the first attempt to send, the same for further ones
    bool plainText_ = false;

    const std::shared_ptr<AttachmentFolder> attachments_;
    std::shared_ptr<HeadersEditorObject> headers_;
    std::shared_ptr<WebViewEditorObject> editor_;
    std::shared_ptr<ComposeBackEndObject> backEnd_;
    std::shared_ptr<ComposeControllerObject> controller_;
    std::shared_ptr<ComposeWindowControllerObject> windowController_;
    std::shared_ptr<Window> window_;

    int bodyRevision_ = 1;
    mutable std::optional<std::string> pageBody_;  // bodyHtml() as it was last made
    std::string receivedBody_;                     // as the page last sent it

    bool stands_ = false;   // changes before that are part of opening
    bool touched_ = false;  // by the person
    bool busy_ = false, closed_ = false, asking_ = false, saving_ = false;
    int version_ = 0, savedVersion_ = 0;
    std::optional<TimeInterval> unsavedSince_;  // uptime
    TimerRef autosaveTimer_;
    std::string status_;

    DraftKeeper keeper_;
    OperationQueue work_{1};  // last: what runs there uses the members above
};

}  // namespace qs
