#include "BackendServer.h"

#include <algorithm>
#include <optional>

#include "Accounts/AccountRules.h"
#include "Accounts/RateLimiter.h"
#include "Accounts/SignIn.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "HttpServer/HttpServer.h"
#include "Images/ImageDecoder.h"
#include "Mail/LetterQueue.h"
#include "Mail/MailSender.h"
#include "Metrics.h"
#include "Service.h"
#include "SignatureTemplates.h"
#include "Store/AccountTables.h"
#include "Store/SqlPool.h"
#include "Store/TrackingTables.h"
#include "Tracking/OpenLog.h"
#include "Tracking/PlaceFinder.h"
#include "Tracking/TrackingRoutes.h"
#include "Web/Answers.h"
#include "Web/PeerAddress.h"
#include "Web/Router.h"

namespace qs {

namespace {

constexpr std::string_view kPixelPath = "/tracking/";
constexpr int kMostWaiting = 500;  // requests that wait for a thread
constexpr TimeInterval kHousekeeping = 3600;
constexpr TimeInterval kEarlyOpenLife = 2 * 86'400;  // the plug-in gives up registering a pixel after a day
constexpr TimeInterval kLongestStop = 5, kStopCheck = 0.05;

// What the server stands on, in the order in which it is made.
struct Ground {
    BackendConfiguration configuration;
    std::unique_ptr<PlaceFinder> places;
    std::unique_ptr<MailSender> sender;
    std::unique_ptr<SqlPool> database;
    std::unique_ptr<HttpServer> http, metricsHttp;
    Array signatureTemplates;
};

int threadsFor(const Ground& ground) {
    // Beside those that use the database, some that make digests of passwords.
    return ground.database->most() + 3;
}

class Server : public BackendServer {
public:
    Server(Ground ground, const Options& options)
        : ground_(std::move(ground)),
          images_(options.imageDecoder.empty() ? nullptr : ImageDecoder::inProcess(options.imageDecoder)),
          passwords_(options.cost),
          signIn_(*ground_.database, passwords_, limits_),
          baseUrl_(ground_.configuration.baseUrl.empty() ? "http://" + ground_.configuration.listenAddresses.at(0) +
                                                               ":" + std::to_string(ground_.http->port())
                                                         : ground_.configuration.baseUrl),
          opens_({.database = *ground_.database,
                  .metrics = metrics_,
                  .places = ground_.places.get(),
                  .addressDetail = ground_.configuration.addressDetail,
                  .runElsewhere = [this](Block block) { workers_->add(std::move(block)); }}),
          letters_(*ground_.database, *ground_.sender, metrics_, ground_.configuration.mailFrom),
          service_{.configuration = ground_.configuration,
                   .baseUrl = baseUrl_,
                   .database = *ground_.database,
                   .passwords = passwords_,
                   .limits = limits_,
                   .signIn = signIn_,
                   .metrics = metrics_,
                   .opens = opens_,
                   .letters = letters_,
                   .images = images_.get(),
                   .signatureTemplates = ground_.signatureTemplates},
          workers_(std::make_unique<OperationQueue>(threadsFor(ground_), OperationQueue::Threads::Own)) {
        ground_.http->start({
            .refuse = [this](const HttpServerRequest& head) { return refuse(head); },
            .bodyLimit =
                [](const HttpServerRequest& head) {
                    const RouteEntry* entry = findRoute(head);
                    return entry ? entry->bodyLimit : 0;
                },
            .respondLater =
                [this](HttpServerRequest request, std::function<void(HttpServerResponse)> reply) {
                    respond(std::move(request), reply);
                },
        });
        if (ground_.metricsHttp) startMetrics();
        letters_.start();
        housekeeping_ = RunLoop::main().every(kHousekeeping, [this] { keepHouse(); });
        keepHouse();
    }

    ~Server() override {
        housekeeping_->invalidate();
        if (stopCheck_) stopCheck_->invalidate();
        ground_.http.reset();
        ground_.metricsHttp.reset();
        workers_->cancelWaiting();
        workers_.reset();
    }

    int port() const override { return ground_.http->port(); }
    int metricsPort() const override { return ground_.metricsHttp ? ground_.metricsHttp->port() : 0; }
    const std::string& baseUrl() const override { return baseUrl_; }

    void stop(std::function<void()> done) override {
        ground_.http->stopAccepting();
        const TimeInterval latest = RunLoop::main().uptime() + kLongestStop;
        stopCheck_ = RunLoop::main().every(kStopCheck, [this, latest, done = std::move(done)] {
            if (underWay_ > 0 && RunLoop::main().uptime() < latest) return;
            const auto finished = done;  // the timer's block goes with the timer
            stopCheck_->invalidate();
            workers_->add([this, finished] {
                opens_.write();
                RunLoop::main().post(finished);
            });
        });
    }

private:
    static std::optional<HttpServerResponse> refuse(const HttpServerRequest& head) {
        if (head.isWebSocketUpgrade) return HttpServerResponse::text(400, "There is nothing live here.");
        if (head.rawPath.starts_with(kPixelPath) || findRoute(head)) return std::nullopt;
        return noRouteAnswer(head);
    }

    void respond(HttpServerRequest request, const std::function<void(HttpServerResponse)>& reply) {
        Call facts{request, RunLoop::main().now(), peerOf(request, ground_.configuration.trustedProxies)};
        if (request.rawPath.starts_with(kPixelPath)) return answerPixel(facts, reply);
        const RouteEntry& entry = *findRoute(request);
        if (workers_->waitingAndRunning() > kMostWaiting) {
            count(entry.name, 503);
            return reply(errorAnswer(503, "The server is busy. Please try again later."));
        }
        ++underWay_;
        workers_->add([this, &entry, request = std::make_shared<HttpServerRequest>(std::move(request)), now = facts.now,
                       peer = std::move(facts.peer), reply] {
            HttpServerResponse response = answerOf(entry, service_, {*request, now, peer});
            count(entry.name, response.status);
            RunLoop::main().post([this, reply, response = std::move(response), alive = alive_]() mutable {
                if (!*alive) return;
                --underWay_;
                reply(std::move(response));
            });
        });
    }

    // Alike for ids that are known, unknown, zero or none at all.
    void answerPixel(const Call& call, const std::function<void(HttpServerResponse)>& reply) {
        if (call.http.method != "GET") {
            count("pixel", 405);
            return reply(HttpServerResponse::text(405, "This is not how to ask for this."));
        }
        count("pixel", 200);
        auto uuid = pixelId(std::string_view(call.http.rawPath).substr(kPixelPath.size()));
        if (!uuid) return reply(pixelAnswer());
        ++underWay_;
        opens_.add({std::move(*uuid), call.now, call.peer, call.http.header("User-Agent").substr(0, 512)},
                   [this, reply] {
                       --underWay_;
                       reply(pixelAnswer());
                   });
    }

    void count(std::string_view route, int status) {
        metrics_.add("requests_total{route=\"" + std::string(route) + "\",status=\"" + std::to_string(status) + "\"}");
    }

    void startMetrics() {
        ground_.metricsHttp->start({
            .refuse = [](const HttpServerRequest& head) -> std::optional<HttpServerResponse> {
                if (head.method == "GET" && head.path == "/metrics" && !head.isWebSocketUpgrade) return std::nullopt;
                return HttpServerResponse::text(404, "There is only /metrics here.");
            },
            .bodyLimit = [](const HttpServerRequest&) { return 0; },
            .respond =
                [this](const HttpServerRequest&) {
                    metrics_.set("requests_under_way", underWay_);
                    HttpServerResponse response = HttpServerResponse::text(200, "");
                    response.body = metrics_.text();
                    return response;
                },
        });
    }

    void keepHouse() {
        const Date now = RunLoop::main().now();
        workers_->add([this, now] {
            try {
                const Date oldest = now - ground_.configuration.keepDays * 86'400.0;
                ground_.database->transaction([&](SqlConnection& database) {
                    dropOldTokens(database, now - kSignUpLife, now - kResetLife);
                    dropOldTracking(database, now - kEarlyOpenLife, oldest, oldest);
                });
            } catch (const SqlFailure& failure) {
                logError(std::string("Old records stay for now: ") + failure.what());
            }
        });
    }

    Ground ground_;
    const std::shared_ptr<ImageDecoder> images_;
    Metrics metrics_;
    RateLimits limits_;
    PasswordHasher passwords_;
    SignIn signIn_;
    const std::string baseUrl_;
    OpenLog opens_;
    LetterQueue letters_;
    Service service_;
    int underWay_ = 0;
    TimerRef housekeeping_, stopCheck_;
    const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    std::unique_ptr<OperationQueue> workers_;  // goes before what its work uses
};

}  // namespace

Result<std::unique_ptr<BackendServer>> BackendServer::start(const BackendConfiguration& configuration,
                                                            FileSystem& files, const Options& options) {
    Ground ground{.configuration = configuration};
    if (!configuration.placeDatabase.empty()) {
        auto places = PlaceFinder::open(configuration.placeDatabase);
        if (!places) return failed(places);
        ground.places = std::move(*places);
    }
    auto templates = loadSignatureTemplates(configuration.templateFolder, files);
    if (!templates) return failed(templates);
    ground.signatureTemplates = std::move(*templates);
    auto sender = MailSender::make(configuration, files);
    if (!sender) return failed(sender);
    ground.sender = std::move(*sender);
    try {
        const std::string& postgres = configuration.postgres;
        if (postgres.empty()) {
            if (auto made = files.makeFolder(configuration.databaseFile.parent_path()); !made) return failed(made);
            ground.database = std::make_unique<SqlPool>(
                [file = configuration.databaseFile] { return SqlConnection::openSqlite(file); }, 1);
        } else {
            ground.database = std::make_unique<SqlPool>([postgres] { return SqlConnection::openPostgres(postgres); },
                                                        configuration.postgresConnections);
        }
    } catch (const SqlFailure& fault) {
        return failure("BackendServer", 1, std::string("The database can't be used: ") + fault.what());
    }
    auto http = HttpServer::listen({.port = configuration.port,
                                    .addresses = configuration.listenAddresses,
                                    .mostConnections = static_cast<std::size_t>(configuration.mostConnections),
                                    .idleSeconds = 30,
                                    .transferSeconds = 30});
    if (!http) return failed(http);
    ground.http = std::move(*http);
    if (configuration.metricsPort > 0) {
        auto metrics = HttpServer::listen({.port = configuration.metricsPort, .mostConnections = 16});
        if (!metrics) return failed(metrics);
        ground.metricsHttp = std::move(*metrics);
    }
    return std::unique_ptr<BackendServer>(std::make_unique<Server>(std::move(ground), options));
}

}  // namespace qs
