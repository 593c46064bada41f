// Back end and body editor.
#include "Compose/ComposeObjects.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Mime/MessageWriter.h"

namespace qs {

WebViewEditorObject::WebViewEditorObject(ChangeHandler changed)
    : WebViewEditor("WebViewEditor"), changed_(std::move(changed)) {}

void ComposeBackEndObject::defineClass() {
    ClassRegistry& registry = ClassRegistry::current();
    registry.define("ComposeBackEnd")
        .add(compose_back_end::newOutgoingMessage,
             [](HostObject& self, MessageWriter& writer, const ComposeContents& contents,
                std::shared_ptr<MessageHeaders> headers, bool isDraft,
                bool shouldBePlainText) -> std::shared_ptr<OutgoingMessage> {
                 auto written =
                     writer.write(contents, std::move(headers), isDraft, shouldBePlainText, RunLoop::main().now());
                 if (written) return *written;
                 static_cast<ComposeBackEndObject&>(self).lastError_ = written.error();
                 return nullptr;
             });
}

ComposeBackEndObject::ComposeBackEndObject(ComposeMode mode, std::shared_ptr<OriginalSnapshot> original,
                                           std::shared_ptr<AttachmentFolder> attachments,
                                           std::weak_ptr<HeadersEditor> headers)
    : ComposeBackEnd("ComposeBackEnd"),
      mode_(mode),
      original_(std::move(original)),
      attachments_(std::move(attachments)),
      headers_(std::move(headers)) {}

std::shared_ptr<MessageHeaders> ComposeBackEndObject::originalMessageHeaders() const {
    return original_ ? original_->headers() : nullptr;
}

std::string ComposeBackEndObject::subject() const {
    const auto headers = headers_.lock();
    return headers ? headers->subject() : std::string();
}

std::shared_ptr<MailAccount> ComposeBackEndObject::deliveryAccount() const {
    return account_.empty() ? nullptr : MailAccount::accountWithIdentifier(account_);
}

Result<std::shared_ptr<OutgoingMessage>>
ComposeBackEndObject::newOutgoingMessage(const ComposeContents& contents, std::shared_ptr<MessageHeaders> headers,
                                         bool isDraft, bool shouldBePlainText) {
    MessageWriter writer;
    lastError_ = {"Compose", 1, "The message could not be put together.", {}};
    if (auto message = compose_back_end::newOutgoingMessage(*this, writer, contents, std::move(headers), isDraft,
                                                            shouldBePlainText))
        return message;
    return failure(lastError_);
}

}  // namespace qs
