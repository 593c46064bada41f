#include "HostServer.h"

#include <boost/json.hpp>
#include <cerrno>

#include "BundleLoader.h"
#include "Foundation/NotificationCenter.h"
#include "HttpServer/HttpServer.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailRoutes.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "NewMailNotice.h"
#include "PageConnection.h"
#include "PageFiles.h"
#include "PageState.h"
#include "PeoplePictures.h"
#include "RequestGuard.h"
#include "ResourceProxy.h"
#include "Sessions.h"
#include "UserNotifications.h"
#include "Viewer/ContactPictures.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr std::uint64_t kSmallBody = 64 * 1024;
constexpr std::string_view kProtocolPrefix = "qs.";
constexpr const char* kTokenHeader = "X-Quillstead-Token";

class Server : public HostServer {
public:
    Server(std::unique_ptr<HttpServer> http, PageFiles files)
        : guard_(http->port()), sessions_(http->port()), files_(std::move(files)), http_(std::move(http)) {}

    ~Server() override {
        if (!application_) return;
        setModelChangeHandler({});
        setBeepHandler({});
        application_->setPageRequestHandler({});
    }

    void start(MailApplication& application, const BundleLoader& bundles) override {
        application_ = &application;
        bundles_ = &bundles;
        setModelChangeHandler([this] { redraw(); });
        setBeepHandler([this] { tellAll(R"({"type":"beep"})"); });
        application.setPageRequestHandler([this](std::string_view what, std::string_view window) {
            tellAll(json::serialize(json::object{{"type", what}, {"window", window}}));
        });
        for (const auto name : {MailLibraryMessagesWereAddedNotification, UserNotificationWasPostedNotification})
            observations_.push_back(
                NotificationCenter::defaultCenter().addObserver(std::string(name), [this](const Notification& added) {
                    if (auto notice = newMailNotice(application_->engine().library(), added); !notice.empty())
                        tellAll(notice);
                }));
        observations_.push_back(NotificationCenter::defaultCenter().addObserver(
            std::string(PhotoAvailableNotification), [this](const Notification& posted) {
                if (auto notice = pictureNotice(posted.userInfo["Email"].stringValue()); !notice.empty())
                    tellAll(notice);
            }));
        http_->start({
            .refuse = [this](const HttpServerRequest& head) { return refuse(head); },
            .bodyLimit = [](const HttpServerRequest&) { return kSmallBody; },
            .takeBody = [this](const HttpServerRequest& head) { return attachmentUpload(*application_, head); },
            .respondLater = [this](const HttpServerRequest& request, const auto& reply) { respond(request, reply); },
            .acceptLive = [this](const HttpServerRequest& head) { return acceptLive(head); },
            .openLive = [this](std::shared_ptr<LiveChannel> channel) { openLive(std::move(channel)); },
        });
    }

    int port() const override { return http_->port(); }
    bool hasPages() const override { return !pages_.empty(); }

    std::string newStartLink() override {
        return "http://127.0.0.1:" + std::to_string(port()) + "/#start=" + sessions_.newTicket();
    }

    void sayGoodbye(std::string_view sentence) override {
        tellAll(json::serialize(json::object{{"type", "goodbye"}, {"text", sentence}}));
        for (const auto& page : pages_)
            page->close();
    }

private:
    std::optional<HttpServerResponse> refuse(const HttpServerRequest& head) const {
        if (auto refusal = guard_.refuse(head)) return refusal;
        // Everything but the page itself and its start belongs to a session; the live connection is checked when it
        // is accepted.
        const bool open = head.isWebSocketUpgrade || head.path == "/session" || files_.has(head.path);
        if (open || sessions_.isKnown(head, head.header(kTokenHeader))) return std::nullopt;
        return HttpServerResponse::text(403, "Please open the page by its start link.");
    }

    void respond(const HttpServerRequest& request, const std::function<void(HttpServerResponse)>& reply) {
        if (request.path == "/session") return reply(startSession(request));
        if (!answerMailRoute(*application_, *bundles_, proxy_, request, reply)) reply(files_.answer(request));
    }

    HttpServerResponse startSession(const HttpServerRequest& request) {
        if (request.method != "POST") return HttpServerResponse::text(405, "Only POST is known here.");
        json::error_code error;
        const json::value body = json::parse(request.body, error);
        const json::value* ticket = !error && body.is_object() ? body.get_object().if_contains("ticket") : nullptr;
        auto session =
            ticket && ticket->is_string() ? sessions_.redeem(std::string(ticket->get_string())) : std::nullopt;
        if (!session)
            return HttpServerResponse::text(
                403, "This start link was used already or is older than a minute. ./run gives a new one.");
        auto response = HttpServerResponse::json(json::serialize(json::object{{"token", session->token}}));
        response.headers.emplace_back("Set-Cookie", Sessions::cookieName(port()) + "=" + session->cookie +
                                                        "; Path=/; HttpOnly; SameSite=Strict");
        return response;
    }

    std::optional<std::string> acceptLive(const HttpServerRequest& head) const {
        const std::string protocol = head.header("Sec-WebSocket-Protocol");
        if (head.path != "/live" || !protocol.starts_with(kProtocolPrefix)) return std::nullopt;
        if (!sessions_.isKnown(head, std::string_view(protocol).substr(kProtocolPrefix.size()))) return std::nullopt;
        return protocol;
    }

    void openLive(std::shared_ptr<LiveChannel> channel) {
        auto page = std::make_shared<PageConnection>(*application_, std::move(channel));
        pages_.push_back(page);
        page->onClose = [this, closed = page.get()] {
            std::erase_if(pages_, [closed](const auto& each) { return each.get() == closed; });
            // Nobody looks any more: the program is not in front.
            if (pages_.empty()) application_->setActive(false);
        };
        sections_ = makePageSections(*application_, sections_);
        page->show(sections_);
    }

    void redraw() {
        if (pages_.empty()) return;
        sections_ = makePageSections(*application_, sections_);
        for (const auto& page : pages_)
            page->show(sections_);
    }

    void tellAll(const std::string& text) {
        for (const auto& page : pages_)
            page->send(text);
    }

    RequestGuard guard_;
    Sessions sessions_;
    PageFiles files_;
    MailApplication* application_ = nullptr;
    const BundleLoader* bundles_ = nullptr;
    PageSections sections_;
    std::vector<std::shared_ptr<PageConnection>> pages_;
    ResourceProxy proxy_;
    std::vector<ObservationRef> observations_;
    std::unique_ptr<HttpServer> http_;  // goes first: nothing calls back afterwards
};

}  // namespace

Result<std::unique_ptr<HostServer>> HostServer::listen(const HostServerOptions& options) {
    auto files = PageFiles::load(options.pageFolder);
    if (!files) return failed(files);
    auto http = HttpServer::listen({.port = options.port});
    if (!http) {
        Error error = http.error();
        if (error.code == EADDRINUSE) error.description += " Choose another with --port.";
        return failure(std::move(error));
    }
    return std::unique_ptr<HostServer>(std::make_unique<Server>(std::move(*http), std::move(*files)));
}

}  // namespace qs
