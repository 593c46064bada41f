#include "MailRoutes.h"

#include <boost/json.hpp>
#include <charconv>

#include "BundleLoader.h"
#include "ComposeWindow.h"
#include "DataUrl.h"
#include "Display/Sanitizer.h"
#include "Foundation/Assertion.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "Mime/MimeMessage.h"
#include "Text/Escapes.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr std::size_t kInlinePictureLimit = 8 * 1024 * 1024;

std::vector<std::string> pieces(std::string_view path) {
    std::vector<std::string> result;
    while (!path.empty()) {
        path.remove_prefix(1);  // the slash
        const auto end = std::min(path.find('/'), path.size());
        result.emplace_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return result;
}

HttpServerResponse notFound() { return HttpServerResponse::text(404, "That is gone."); }

// Never shown in our own origin, whatever it says it is.
HttpServerResponse download(std::string content, std::string_view name) {
    return {200,
            {{"Content-Type", "application/octet-stream"},
             {"Content-Disposition", "attachment; filename*=UTF-8''" + urlEncodedString(name)},
             {"Content-Security-Policy", "default-src 'none'; sandbox"}},
            std::move(content)};
}

std::string inlinePicture(const MimeMessage& message, std::string_view contentID) {
    for (const auto& part : message.attachments()) {
        if (part.contentID != contentID || part.size > kInlinePictureLimit) continue;
        if (!isPictureType(part.mimeType)) return {};
        auto content = message.partContent(part.part);
        return content ? dataUrl(part.mimeType, *content) : std::string();
    }
    return {};
}

// As plug-ins want it displayed.
std::string displayedHtml(const std::string& html) {
    const auto document = std::make_shared<WebDocument>();
    try {
        web_document::setHtml(*document, html);
    } catch (const std::exception&) {
        logCaughtException("A plug-in could not look at a message's text");
        return html;
    }
    return document->html;
}

HttpServerResponse body(const MimeMessage& message) {
    json::object answer;
    if (const auto html = message.htmlBody()) {
        auto safe = sanitizeHtml(displayedHtml(*html), {.inlinePicture = [&message](std::string_view contentID) {
                                     return inlinePicture(message, contentID);
                                 }});
        answer = {{"html", std::move(safe.html)}, {"remoteBlocked", safe.remoteBlocked}, {"plain", false}};
    } else {
        answer = {{"html", plainTextToHtml(message.plainBody().value_or(""))}, {"remoteBlocked", 0}, {"plain", true}};
    }
    return HttpServerResponse::json(json::serialize(answer));
}

HttpServerResponse part(const MimeMessage& message, const std::string& number) {
    for (const auto& each : message.attachments())
        if (each.part == number)
            if (auto content = message.partContent(number)) return download(std::move(*content), each.fileName);
    return notFound();
}

// /messages/<id>/body, /messages/<id>/source, /messages/<id>/parts/<part>
HttpServerResponse messageRoute(MailApplication& application, const std::vector<std::string>& path) {
    std::int64_t id = 0;
    const auto& text = path[1];
    if (std::from_chars(text.data(), text.data() + text.size(), id).ptr != text.data() + text.size()) return notFound();
    auto content = application.engine().library().content(id);
    if (!content) return HttpServerResponse::text(404, content.error().description);
    if (path.size() == 3 && path[2] == "source")
        return {200, {{"Content-Type", "text/plain; charset=utf-8"}}, std::move(*content)};
    auto message = MimeMessage::parse(*content);
    if (path.size() == 3 && path[2] == "body") return body(*message);
    if (path.size() == 4 && path[2] == "parts") return part(*message, path[3]);
    return notFound();
}

std::string decodedFileName(std::string_view encoded) {
    std::string name;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        unsigned code = 0;
        if (encoded[i] == '%' && i + 2 < encoded.size() &&
            std::from_chars(encoded.data() + i + 1, encoded.data() + i + 3, code, 16).ptr == encoded.data() + i + 3) {
            name += static_cast<char>(code);
            i += 2;
        } else {
            name += encoded[i];
        }
    }
    return name;
}

// /compose/<window>/attachments and /compose/<window>/attachments/<id>
HttpServerResponse composeRoute(MailApplication& application, const HttpServerRequest& request,
                                const std::vector<std::string>& path) {
    auto window = application.composeWindow(path[1]);
    if (!window) return notFound();
    if (request.method == "POST" && path.size() == 3) {
        auto added = window->addAttachment(decodedFileName(request.header("X-File-Name")), request.body,
                                           request.header("X-Inline") == "1");
        if (!added) return HttpServerResponse::text(422, added.error().description);
        return HttpServerResponse::json(json::serialize(json::object{{"id", *added}}));
    }
    if (request.method == "GET" && path.size() == 4)
        for (const auto& attachment : window->attachments())
            if (attachment.identifier == path[3])
                if (auto content = window->attachmentContent(path[3]))
                    return download(std::move(*content), attachment.fileName);
    return notFound();
}

// /images/<name>
HttpServerResponse image(const BundleLoader& bundles, std::string name) {
    if (name.starts_with("plugin:")) name.erase(0, 7);
    std::string svg = bundles.image(name);
    if (svg.empty()) return notFound();
    return {200,
            {{"Content-Type", "image/svg+xml"},
             {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; sandbox"}},
            std::move(svg)};
}

}  // namespace

bool isAttachmentUpload(const HttpServerRequest& head) {
    const auto path = pieces(head.path);
    return head.method == "POST" && path.size() == 3 && path[0] == "compose" && path[2] == "attachments";
}

std::optional<HttpServerResponse> answerMailRoute(MailApplication& application, const BundleLoader& bundles,
                                                  const HttpServerRequest& request) {
    const auto path = pieces(request.path);
    if (path.size() >= 3 && path[0] == "messages" && request.method == "GET") return messageRoute(application, path);
    if (path.size() >= 3 && path[0] == "compose" && path[2] == "attachments")
        return composeRoute(application, request, path);
    if (path.size() == 2 && path[0] == "images" && request.method == "GET") return image(bundles, path[1]);
    return std::nullopt;
}

}  // namespace qs
