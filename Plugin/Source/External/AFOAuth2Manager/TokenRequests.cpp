#include "External/AFOAuth2Manager/TokenRequests.h"

#include <algorithm>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "Reachability/NetworkState.h"
#include "Text/Url.h"

namespace qs {

namespace {

using Success = AFHTTPSessionManager::Success;
using Failure = AFHTTPSessionManager::Failure;

// A captive portal answers in the place of everybody, so what looks like a bad certificate may be one.
bool mayComeFromBeingOffline(const Error& error) {
    if (error.domain != kHttpErrorDomain) return false;
    switch (static_cast<HttpError>(error.code)) {
    case HttpError::TimedOut:
    case HttpError::CannotFindHost:
    case HttpError::CannotConnect:
    case HttpError::ConnectionLost:
    case HttpError::NotConnected:
    case HttpError::SecureConnectionFailed: return true;
    default: return false;
    }
}

bool leadsOut(const NetworkState::Facts& facts) { return facts.isReachable && !facts.isInterventionRequired; }

}  // namespace

class TokenRequests::Request : public std::enable_shared_from_this<Request> {
public:
    // One caller that waits for the answer.
    struct Waiting {
        Success success;
        Failure failure;
    };

    class Handle : public HttpTask {
    public:
        Handle(std::weak_ptr<Request> request, std::weak_ptr<Waiting> waiting)
            : request_(std::move(request)), waiting_(std::move(waiting)) {}
        void cancel() override {
            RunLoop::main().post([request = request_, waiting = waiting_] {
                const auto self = request.lock();
                const auto who = waiting.lock();
                if (self && who) self->giveUp(who);
            });
        }

    private:
        std::weak_ptr<Request> request_;
        std::weak_ptr<Waiting> waiting_;
    };

    Request(AFHTTPSessionManager session, std::string path, Dictionary form, std::function<void()> ended)
        : session_(std::move(session)), path_(std::move(path)), form_(std::move(form)), ended_(std::move(ended)) {}

    HttpTaskRef join(Success success, Failure failure) {
        waiting_.push_back(std::make_shared<Waiting>(Waiting{std::move(success), std::move(failure)}));
        return std::make_shared<Handle>(weak_from_this(), waiting_.back());
    }

    void start() {
        task_ = session_.POST(
            path_, Value(form_),
            [weak = weak_from_this()](const Value& answer, const HttpResponse& response) {
                if (const auto self = weak.lock())
                    self->end([&](const Waiting& each) {
                        if (each.success) each.success(answer, response);
                    });
            },
            [weak = weak_from_this()](const Error& error) {
                if (const auto self = weak.lock()) self->fail(error);
            });
    }

private:
    void fail(const Error& error) {
        const auto& network = Platform::current().network;
        const auto url = Url::parse(session_.urlOf(path_));
        const bool isLocal = url && url->host() && isOwnHost(*url->host());
        if (network && !isLocal && mayComeFromBeingOffline(error) && !leadsOut(network->facts())) {
            logInfo("The network is away; a sign-in goes on when it is back.");
            observation_ = network->observe([weak = weak_from_this()](const NetworkState::Facts& facts) {
                const auto self = weak.lock();
                if (!self || !leadsOut(facts) || !self->observation_) return;
                RunLoop::main().post([self, seen = std::exchange(self->observation_, nullptr)] { self->start(); });
            });
            return;
        }
        end([&](const Waiting& each) {
            if (each.failure) each.failure(error);
        });
    }

    // A completion may send the next request: this one is forgotten before the first is called.
    void end(const std::function<void(const Waiting&)>& tell) {
        const auto self = shared_from_this();
        const auto all = std::exchange(waiting_, {});
        std::exchange(ended_, nullptr)();
        for (const auto& each : all)
            tell(*each);
    }

    void giveUp(const std::shared_ptr<Waiting>& who) {
        if (std::erase(waiting_, who) == 0) return;
        const auto self = shared_from_this();
        if (waiting_.empty()) {
            std::exchange(ended_, nullptr)();
            observation_.reset();
            if (task_) task_->cancel();
        }
        if (who->failure)
            who->failure({kHttpErrorDomain, static_cast<int>(HttpError::Cancelled), "The request was cancelled.", {}});
    }

    AFHTTPSessionManager session_;
    std::string path_;
    Dictionary form_;
    std::function<void()> ended_;
    std::vector<std::shared_ptr<Waiting>> waiting_;
    HttpTaskRef task_;
    std::shared_ptr<void> observation_;
};

TokenRequests::TokenRequests() = default;
TokenRequests::~TokenRequests() = default;

HttpTaskRef TokenRequests::send(const AFHTTPSessionManager& session, std::string_view path, const Dictionary& form,
                                Success success, Failure failure) {
    // Who asks may stand in the header alone.
    const std::string asking = session.requestSerializer().valueForHTTPHeaderField("Authorization").value_or("");
    const std::string key = session.urlOf(path) + "\n" + asking + "\n" + AFQueryStringFromParameters(Value(form));
    auto& request = underWay_[key];
    if (request) return request->join(std::move(success), std::move(failure));
    request = std::make_shared<Request>(session, std::string(path), form, [this, key] { underWay_.erase(key); });
    auto handle = request->join(std::move(success), std::move(failure));
    request->start();
    return handle;
}

}  // namespace qs
