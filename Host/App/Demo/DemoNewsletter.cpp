#include "Demo/DemoNewsletter.h"

#include "Foundation/Log.h"
#include "HttpServer/HttpServer.h"
#include "Settings/UserDefaults.h"

namespace qs {
namespace {

constexpr const char* kPort = "DemoNewsletterPort";
constexpr const char* kPlugInSuite = "com.tallowbay.Quillstead";
constexpr const char* kKnownServers = "QSLocalNewsletterServers";
constexpr std::uint64_t kLongestForm = 4096;  // bytes

HttpServerResponse answerTo(const HttpServerRequest& request) {
    if (request.path != "/leave") return HttpServerResponse::text(404, "There is nothing here.");
    if (request.method != "POST") return HttpServerResponse::text(405, "Looking at this page changes nothing.");
    if (request.body != "r=mira") return HttpServerResponse::text(404, "Nobody of that name gets The Deckle.");
    logInfo("The Deckle: mira has left.");
    return HttpServerResponse::text(200, "You have left The Deckle.");
}

}  // namespace

DemoNewsletter::DemoNewsletter() = default;
DemoNewsletter::~DemoNewsletter() = default;

Result<void> DemoNewsletter::start() {
    const auto settings = UserDefaults::suite("");
    const auto listen = [](std::int64_t port) {
        return HttpServer::listen({.port = static_cast<int>(port), .addresses = {"127.0.0.1"}, .mostConnections = 16});
    };
    auto server = listen(settings->integerForKey(kPort));
    if (!server) server = listen(0);
    if (!server) return failed(server);
    server_ = std::move(*server);
    settings->setObject(std::int64_t{server_->port()}, kPort);
    HttpHandlers handlers;
    handlers.refuse = [](const HttpServerRequest&) { return std::optional<HttpServerResponse>(); };
    handlers.bodyLimit = [](const HttpServerRequest&) { return kLongestForm; };
    handlers.respond = answerTo;
    server_->start(std::move(handlers));
    UserDefaults::suite(kPlugInSuite)
        ->registerDefaults({{kKnownServers, Array{"127.0.0.1:" + std::to_string(server_->port())}}});
    return {};
}

void DemoNewsletter::end() { server_.reset(); }

std::string DemoNewsletter::address() const {
    return server_ ? "http://127.0.0.1:" + std::to_string(server_->port()) : std::string();
}

}  // namespace qs
