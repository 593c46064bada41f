// The host objects of a compose window as they are implemented: fields, headers editor, body editor, back end and
// controllers. They hold what the window shows; ComposeSession decides what happens. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Compose/AttachmentFolder.h"
#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Compose/OriginalSnapshot.h"
#include "Compose/WebViewEditor.h"
#include "ComposeWindow.h"
#include "Html/HtmlDocument.h"

namespace qs {

class ComposeSession;
class MessageWriter;

// What a plug-in or the host changed by itself comes through here; the session saves and redraws.
using ChangeHandler = std::function<void()>;

class AddressFieldObject final : public AddressField {
public:
    explicit AddressFieldObject(ChangeHandler changed);
    std::vector<std::string> addresses() const override { return addresses_; }
    void setAddresses(std::vector<std::string> addresses) override;

private:
    std::vector<std::string> addresses_;
    ChangeHandler changed_;
};

class HeadersEditorObject final : public HeadersEditor {
public:
    static void defineClass();
    explicit HeadersEditorObject(const ChangeHandler& changed);

    std::shared_ptr<ComposeController> composeController() const override { return controller_.lock(); }
    std::shared_ptr<StackView> subjectStack() const override { return subjectStack_; }
    std::shared_ptr<StackView> contentStack() const override { return contentStack_; }
    std::shared_ptr<HeaderRow> statusRow() const override { return statusRow_; }
    std::shared_ptr<AddressField> toField() const override { return to_; }
    std::shared_ptr<AddressField> ccField() const override { return cc_; }
    std::shared_ptr<AddressField> bccField() const override { return bcc_; }
    std::string subject() const override { return subject_; }

    void setController(std::weak_ptr<ComposeController> controller) { controller_ = std::move(controller); }
    void setSubject(std::string subject) { subject_ = std::move(subject); }
    // The status row stands among the rows while there are attachments.
    void showStatusRow(bool visible);
    // The sending account changed: fields and plug-ins follow, through the operation that this version has.
    void accountDidChange(HostObject* sender);
    std::vector<ComposeRow> rows() const;

private:
    std::weak_ptr<ComposeController> controller_;
    std::shared_ptr<StackView> subjectStack_, contentStack_;
    std::shared_ptr<HeaderRow> statusRow_;
    std::shared_ptr<AddressFieldObject> to_, cc_, bcc_;
    std::string subject_;
};

class WebViewEditorObject final : public WebViewEditor {
public:
    explicit WebViewEditorObject(ChangeHandler changed);
    HtmlDocument& document() override { return document_; }
    const HtmlDocument& document() const { return document_; }
    void didChangeDocument() override { changed_(); }

private:
    HtmlDocument document_;
    ChangeHandler changed_;
};

class ComposeBackEndObject final : public ComposeBackEnd {
public:
    static void defineClass();
    ComposeBackEndObject(ComposeMode mode, std::shared_ptr<OriginalSnapshot> original,
                         std::shared_ptr<AttachmentFolder> attachments, std::weak_ptr<HeadersEditor> headers);

    MessageRef originalMessage() const override { return original_; }
    std::shared_ptr<MessageHeaders> originalMessageHeaders() const override;
    std::vector<ComposeAttachment> attachments() const override { return attachments_->all(); }
    std::string subject() const override;
    ComposeMode composeMode() const override { return mode_; }
    std::shared_ptr<MailAccount> deliveryAccount() const override;

    const std::string& accountIdentifier() const { return account_; }
    void setAccountIdentifier(std::string account) { account_ = std::move(account); }
    // Builds a message through the exchangeable operation.
    Result<std::shared_ptr<OutgoingMessage>> newOutgoingMessage(const ComposeContents& contents,
                                                                std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                                bool shouldBePlainText);

private:
    const ComposeMode mode_;
    const std::shared_ptr<OriginalSnapshot> original_;
    const std::shared_ptr<AttachmentFolder> attachments_;
    const std::weak_ptr<HeadersEditor> headers_;
    std::string account_;
    Error lastError_;
};

class ComposeControllerObject final : public ComposeController {
public:
    static void defineClasses();  // controller and window controller, by OS minor
    struct Parts {
        std::shared_ptr<ComposeBackEnd> backEnd;
        std::shared_ptr<HeadersEditor> headersEditor;
        std::shared_ptr<WebViewEditor> webViewEditor;
    };
    ComposeControllerObject(Parts parts, std::weak_ptr<ComposeSession> session);

    std::shared_ptr<ComposeBackEnd> backEnd() const override { return parts_.backEnd; }
    std::shared_ptr<HeadersEditor> headersEditor() const override { return parts_.headersEditor; }
    std::shared_ptr<WebViewEditor> webViewEditor() const override { return parts_.webViewEditor; }
    std::shared_ptr<View> view() const override;
    std::shared_ptr<Window> window() const override;
    void insertFile(HostObject* sender) override;
    bool sendButtonShouldBeEnabled() const override;
    bool isPlainText() const override;

    std::shared_ptr<ComposeSession> session() const { return session_.lock(); }  // null once the window is closed

private:
    const Parts parts_;
    const std::weak_ptr<ComposeSession> session_;
};

class ComposeWindowControllerObject final : public ComposeWindowController {
public:
    explicit ComposeWindowControllerObject(std::weak_ptr<ComposeController> controller);
    std::shared_ptr<ComposeController> composeController() const override { return controller_.lock(); }

private:
    const std::weak_ptr<ComposeController> controller_;
};

// Whether this version of the host has a window controller beside the compose controller.
bool hasWindowController();

}  // namespace qs
