#include "MessageBody.h"

#include <boost/json.hpp>

#include "DataUrl.h"
#include "Display/Sanitizer.h"
#include "Foundation/Assertion.h"
#include "HostSettings.h"
#include "Mail/Mailbox.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MessageDocument.h"
#include "Mime/Addresses.h"
#include "Mime/MimeMessage.h"
#include "ResourceProxy.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kNever = "never";
constexpr std::size_t kInlinePictureLimit = 8 * 1024 * 1024;

std::string inlinePicture(const MimeMessage& message, std::string_view contentID) {
    for (const auto& part : message.attachments()) {
        if (part.contentID != contentID || part.size > kInlinePictureLimit) continue;
        if (!isPictureType(part.mimeType)) return {};
        auto content = message.partContent(part.part);
        return content ? dataUrl(part.mimeType, *content) : std::string();
    }
    return {};
}

SanitizerOptions optionsFor(const MimeMessage& message) {
    return {.inlinePicture = [&message](std::string_view contentID) { return inlinePicture(message, contentID); }};
}

// What becomes of pictures on the web: "ask", "always" for a sender whose pictures the person wants, or "never".
const char* remoteState(MailApplication& application, std::int64_t id) {
    auto& library = application.engine().library();
    const auto summary = library.summary(id);
    const auto mailbox = summary ? library.mailboxWithIdentifier(summary->mailbox) : nullptr;
    // Whoever sends junk learns that nobody reads it.
    if (!summary || summary->flags.junk || (mailbox && mailbox->kind() == MailboxKind::Junk)) return kNever;
    return showsRemotePicturesOf(senderAddress(application, id)) ? "always" : "ask";
}

HttpServerResponse answer(SanitizedHtml safe, const char* remote, bool isPlain) {
    return HttpServerResponse::json(json::serialize(json::object{{"html", std::move(safe.html)},
                                                                 {"remoteBlocked", safe.remoteBlocked},
                                                                 {"remote", remote},
                                                                 {"plain", isPlain}}));
}

}  // namespace

std::string senderAddress(MailApplication& application, std::int64_t id) {
    const auto summary = application.engine().library().summary(id);
    const auto senders = summary ? parseAddresses(summary->from) : std::vector<MailAddress>();
    return senders.size() == 1 ? senders.front().address : std::string();
}

void answerMessageBody(MailApplication& application, ResourceProxy& proxy, std::int64_t id,
                       const std::shared_ptr<const MimeMessage>& message, bool showsRemotePictures,
                       const Reply& reply) {
    auto html = message->htmlBody();
    if (!html) return reply(answer({plainTextToHtml(message->plainBody().value_or("")), 0}, "ask", true));
    const auto document = displayedDocument(std::move(*html));
    const char* remote = remoteState(application, id);
    SanitizerOptions options = optionsFor(*message);
    std::vector<std::string> addresses;
    options.remotePicture = [&addresses](std::string_view address) {
        addresses.emplace_back(address);
        return std::string();
    };
    SanitizedHtml safe = sanitizeHtml(document->html, options);
    if (!showsRemotePictures || remote == kNever || addresses.empty())
        return reply(answer(std::move(safe), remote, false));
    proxy.load(id, document, addresses, [message, document, remote, reply](const ResourceProxy::Pictures& pictures) {
        SanitizerOptions withPictures = optionsFor(*message);
        withPictures.remotePicture = [&pictures](std::string_view address) {
            const auto found = pictures.find(address);
            return found == pictures.end() ? std::string() : found->second;
        };
        reply(answer(sanitizeHtml(document->html, withPictures), remote, false));
    });
}

}  // namespace qs
