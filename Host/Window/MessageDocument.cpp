#include "MessageDocument.h"

#include <algorithm>

#include "Compose/PictureUrl.h"
#include "Display/Sanitizer.h"
#include "Foundation/Assertion.h"
#include "Foundation/Runtime.h"
#include "Mail/Message.h"
#include "Mail/MessageBody.h"
#include "MailLibrary.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

// Each, and together: such a document is stored and handed about as one text.
constexpr std::size_t kLargestPicture = 1024 * 1024, kMostPictures = 4 * 1024 * 1024;

std::shared_ptr<MessageBody> bodyOf(Message& message) {
    return osMinor() >= 12 ? message::messageBody(message) : message::cachedMimeBody(message);
}

std::string safeHtml(std::string_view html, const MimeMessage* message) {
    std::size_t room = kMostPictures;
    SanitizerOptions options{.keepRemotePictures = true};
    if (message)
        options.inlinePicture = [message, &room](std::string_view contentID) -> std::string {
            for (const MimePart& part : message->attachments()) {
                if (part.contentID != contentID || part.size > std::min(kLargestPicture, room)) continue;
                const auto content = message->partContent(part.part);
                room -= static_cast<std::size_t>(part.size);
                return content ? pictureUrl(*content) : std::string();
            }
            return {};
        };
    return sanitizeHtml(html, options).html;
}

}  // namespace

std::shared_ptr<WebDocument> displayedDocument(std::string html) {
    auto document = std::make_shared<WebDocument>();
    try {
        web_document::setHtml(*document, html);
    } catch (const std::exception&) {
        logCaughtException("A plug-in could not look at a message's text");
        document->html = std::move(html);
    }
    return document;
}

std::shared_ptr<WebDocument> documentOfMessage(MailLibrary& library, Message& message) {
    const auto source = library.openContent(message.libraryID());
    const auto body = bodyOf(message);
    if (!source || !body) return nullptr;
    const auto parsed = MimeMessage::parse(*source);
    auto html = parsed->htmlBody();
    auto document = displayedDocument(html ? std::move(*html) : plainTextToHtml(parsed->plainBody().value_or("")));
    document->html = safeHtml(document->html, parsed.get());
    document->attachments = body->attachments();
    return document;
}

std::shared_ptr<WebDocument> documentOfSelection(Message& message, std::string_view html) {
    const auto body = bodyOf(message);
    auto document = displayedDocument(safeHtml(html, nullptr));
    if (body) document->attachments = body->attachments();
    return document;
}

}  // namespace qs
