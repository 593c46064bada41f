#include "MailRoutes.h"

#include <boost/json.hpp>
#include <charconv>

#include "BundleLoader.h"
#include "Compose/AttachmentFolder.h"
#include "Compose/UploadUnderWay.h"
#include "ComposeWindow.h"
#include "Foundation/FileSystem.h"
#include "Foundation/SpoolFile.h"
#include "HttpServer/HttpServer.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MessageBody.h"
#include "Mime/MimeMessage.h"
#include "Text/Escapes.h"

namespace qs {

namespace json = boost::json;

namespace {

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
HttpServerResponse download(SizedSource content, std::string_view name) {
    return {200,
            {{"Content-Type", "application/octet-stream"},
             {"Content-Disposition", "attachment; filename*=UTF-8''" + urlEncodedString(name)},
             {"Content-Security-Policy", "default-src 'none'; sandbox"}},
            {},
            std::move(content)};
}

HttpServerResponse part(const MimeMessage& message, const std::string& number) {
    for (const auto& each : message.attachments())
        if (each.part == number)
            if (auto content = message.partSource(number)) return download(std::move(*content), each.fileName);
    return notFound();
}

// /messages/<id>/body, /messages/<id>/source, /messages/<id>/parts/<part>
void answerMessageRoute(MailApplication& application, ResourceProxy& proxy, const HttpServerRequest& request,
                        const std::vector<std::string>& path, const Reply& reply) {
    std::int64_t id = 0;
    const auto& text = path[1];
    if (std::from_chars(text.data(), text.data() + text.size(), id).ptr != text.data() + text.size())
        return reply(notFound());
    auto content = application.engine().library().openContent(id);
    if (!content) return reply(HttpServerResponse::text(404, content.error().description));
    if (path.size() == 3 && path[2] == "source")
        return reply({200,
                      {{"Content-Type", "text/plain; charset=utf-8"}},
                      {},
                      SizedSource((*content)->size(), sourceOf(*content))});
    const std::shared_ptr<const MimeMessage> message = MimeMessage::parse(*content);
    if (path.size() == 3 && path[2] == "body")
        return answerMessageBody(application, proxy, id, message, request.queryValue("remote") == "1", reply);
    reply(path.size() == 4 && path[2] == "parts" ? part(*message, path[3]) : notFound());
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

// POST /compose/<window>/attachments
class AttachmentUpload : public HttpBodySink {
public:
    AttachmentUpload(MailApplication& application, std::string window, const HttpServerRequest& head)
        : application_(application),
          window_(std::move(window)),
          fileName_(decodedFileName(head.header("X-File-Name"))),
          isInline_(head.header("X-Inline") == "1"),
          file_(SpoolFile::make(application.engine().dataFolder())) {
        if (const auto shown = application.composeWindow(window_))
            underWay_ = std::make_unique<UploadUnderWay>(*shown->window(), fileName_);
    }

    Result<void> take(std::string_view piece) override {
        if (!file_) return failed(file_);
        // One byte more is enough to be refused.
        taken_ = (*file_)->append(piece.substr(0, static_cast<std::size_t>(kLargestAttachment + 1 - (*file_)->size())));
        return taken_;
    }

    HttpServerResponse end() override {
        const auto window = application_.composeWindow(window_);
        if (!window) return notFound();
        if (!file_ || !taken_)
            return HttpServerResponse::text(422, (file_ ? taken_.error() : file_.error()).description);
        const auto added = window->addAttachmentFrom(fileName_, (*file_)->content(), isInline_);
        if (!added) return HttpServerResponse::text(422, added.error().description);
        return HttpServerResponse::json(json::serialize(json::object{{"id", *added}}));
    }

private:
    MailApplication& application_;
    const std::string window_, fileName_;
    const bool isInline_;
    const Result<std::unique_ptr<SpoolFile>> file_;
    Result<void> taken_;
    std::unique_ptr<UploadUnderWay> underWay_;
};

// /compose/<window>/attachments/<id>
HttpServerResponse composeRoute(MailApplication& application, const HttpServerRequest& request,
                                const std::vector<std::string>& path) {
    auto window = application.composeWindow(path[1]);
    if (!window) return notFound();
    if (request.method == "GET" && path.size() == 4)
        for (const auto& attachment : window->attachments())
            if (attachment.identifier == path[3])
                if (auto content = window->openAttachment(path[3]))
                    return download({(*content)->size(), sourceOf(*content)}, attachment.fileName);
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

std::unique_ptr<HttpBodySink> attachmentUpload(MailApplication& application, const HttpServerRequest& head) {
    const auto path = pieces(head.path);
    if (head.method != "POST" || path.size() != 3 || path[0] != "compose" || path[2] != "attachments") return nullptr;
    return std::make_unique<AttachmentUpload>(application, path[1], head);
}

bool answerMailRoute(MailApplication& application, const BundleLoader& bundles, ResourceProxy& proxy,
                     const HttpServerRequest& request, const Reply& reply) {
    const auto path = pieces(request.path);
    if (path.size() >= 3 && path[0] == "messages" && request.method == "GET")
        answerMessageRoute(application, proxy, request, path, reply);
    else if (path.size() >= 3 && path[0] == "compose" && path[2] == "attachments")
        reply(composeRoute(application, request, path));
    else if (path.size() == 2 && path[0] == "images" && request.method == "GET")
        reply(image(bundles, path[1]));
    else
        return false;
    return true;
}

}  // namespace qs
