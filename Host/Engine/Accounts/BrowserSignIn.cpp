#include "Accounts/BrowserSignIn.h"

#include <algorithm>
#include <filesystem>

#include "Foundation/Format.h"
#include "Foundation/Json.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Platform.h"
#include "Redirects/LoopbackRedirect.h"
#include "SystemFacts/ProcessInfo.h"
#include "Text/ProofKey.h"
#include "Text/Url.h"
#include "Workspace/PrivatePage.h"

namespace qs {

namespace {

using Form = std::vector<std::pair<std::string, std::string>>;

constexpr TimeInterval kUsualLife = 3600;
constexpr TimeInterval kLongestWait = 15 * 60;  // for the person in the browser
constexpr std::uint64_t kMostAnswer = 256 * 1024;
constexpr const char* kListening = "http://127.0.0.1";
// Providers that compare it with what was registered leave the port out of "localhost", and no path may follow.
constexpr const char* kRegistered = "http://localhost";

Error signInError(SignInError code, std::string text) {
    return {kSignInErrorDomain, static_cast<int>(code), std::move(text), {}};
}

// What the provider itself says, if it does, in its own words.
std::string reasonIn(const std::string& name, const std::string& description) {
    const std::string text = description.empty() ? name : description.substr(0, description.find_first_of("\r\n"));
    return text.empty() ? std::string() : " It said: " + text;
}

// Of the names in RFC 6749 and of those that providers add: it is the provider who can't, not the person who may not.
bool isForNow(const std::string& name) {
    return name == "temporarily_unavailable" || name == "server_error" || name == "slow_down";
}

bool isForNow(long status) { return status >= 500 || status == 408 || status == 425 || status == 429; }

Result<MailTokens> tokensFrom(const HttpResponse& response, const MailTokens& old) {
    const auto answer = parseJson(response.body);
    if (!answer || isForNow(response.status))
        return failure(signInError(
            SignInError::NoAnswer,
            stringWithFormat("The provider gave no answer that can be used (status %ld).", {response.status})));
    MailTokens tokens = old;
    tokens.access = (*answer)["access_token"].stringValue();
    const std::string error = (*answer)["error"].stringValue();
    if (!response.isSuccess() || tokens.access.empty())
        return failure(signInError(isForNow(error) ? SignInError::NoAnswer : SignInError::Refused,
                                   "The provider did not accept the sign-in." +
                                       reasonIn(error, (*answer)["error_description"].stringValue())));
    if (const std::string refresh = (*answer)["refresh_token"].stringValue(); !refresh.empty())
        tokens.refresh = refresh;
    // Some send the number as a text.
    const double life = (*answer)["expires_in"].doubleValue();
    tokens.expires = RunLoop::main().now() + (life > 0 ? life : kUsualLife);
    for (const std::string& secret : {tokens.access, tokens.refresh})
        if (!secret.empty()) DDLog::maskSecret(secret);
    return tokens;
}

HttpTaskRef askForTokens(const SignInPlace& place, Form form, const MailTokens& old, BrowserSignIn::Done done) {
    form.emplace_back("client_id", place.clientIdentifier);
    if (!old.clientSecret.empty()) form.emplace_back("client_secret", old.clientSecret);
    const auto& http = Platform::current().http;
    if (!http) {
        done(failure(signInError(SignInError::NoAnswer, "The program can't speak to the web.")));
        return nullptr;
    }
    return http->send(
        {.method = "POST",
         .url = place.tokenAddress,
         .headers = {{"Content-Type", "application/x-www-form-urlencoded"}, {"Accept", "application/json"}},
         .body = formEncoded(form),
         .mostBytes = kMostAnswer,
         .mostRedirects = 0},
        [old, done = std::move(done)](const Result<HttpResponse>& response) {
            if (!response) return done(failure(signInError(SignInError::NoAnswer, response.error().description)));
            done(tokensFrom(*response, old));
        });
}

class LoopbackSignIn : public BrowserSignIn {
public:
    LoopbackSignIn(SignInPlace place, std::string clientSecret, Done done)
        : place_(std::move(place)), done_(std::move(done)) {
        given_.clientSecret = std::move(clientSecret);
    }
    ~LoopbackSignIn() override {
        if (exchange_) exchange_->cancel();
        if (limit_) limit_->invalidate();
        std::error_code ignored;
        if (!page_.empty()) std::filesystem::remove(page_, ignored);
    }

    Result<void> openPage(std::string_view loginHint) {
        const auto& workspace = Platform::current().workspace;
        const auto& facts = Platform::current().processInfo;
        if (!workspace || !facts)
            return failure(signInError(SignInError::NoAnswer, "There is no browser to sign in with."));
        auto listening = LoopbackRedirect::listen(
            {.path = "",
             .sentence = "Thank you. The mail program goes on by itself; you can close this page.",
             .accepts = [state = state_](const std::string& query) { return queryFields(query)["state"] == state; },
             .arrived =
                 [this, alive = std::weak_ptr(alive_)](const std::string& query) {
                     if (!alive.expired()) redeem(queryFields(query));
                 }});
        if (!listening) return failed(listening);
        listener_ = std::move(*listening);
        redirect_ = listener_->address();
        redirect_.replace(0, std::string_view(kListening).size(), kRegistered);
        if (redirect_.ends_with('/')) redirect_.pop_back();
        const Form fields{{"response_type", "code"},
                          {"client_id", place_.clientIdentifier},
                          {"redirect_uri", redirect_},
                          {"scope", place_.scope},
                          {"state", state_},
                          {"code_challenge", codeChallenge(verifier_)},
                          {"code_challenge_method", "S256"},
                          {"login_hint", std::string(loginHint)},
                          // Without these some providers give no refresh token, or none the second time.
                          {"access_type", "offline"},
                          {"prompt", "consent"}};
        limit_ = RunLoop::main().after(kLongestWait, [this, alive = std::weak_ptr(alive_)] {
            if (alive.expired() || exchange_) return;
            listener_.reset();
            finish(failure(signInError(SignInError::NoAnswer, "The sign-in was not completed in time.")));
        });
        const bool hasQuery = place_.authorizePage.find('?') != std::string::npos;
        page_ = facts->dataFolder() / ("sign-in-" + randomWord().substr(0, 8) + ".html");
        return openPrivately(*workspace, page_, place_.authorizePage + (hasQuery ? "&" : "?") + formEncoded(fields),
                             "The sign-in opens …");
    }

private:
    void redeem(const std::map<std::string, std::string>& answer) {
        listener_.reset();
        const auto field = [&](const char* name) {
            const auto found = answer.find(name);
            return found == answer.end() ? std::string() : found->second;
        };
        const std::string code = field("code");
        if (code.empty())
            return finish(failure(
                signInError(isForNow(field("error")) ? SignInError::NoAnswer : SignInError::Refused,
                            "The sign-in was not completed." + reasonIn(field("error"), field("error_description")))));
        DDLog::maskSecret(code);
        exchange_ = askForTokens(place_,
                                 {{"grant_type", "authorization_code"},
                                  {"code", code},
                                  {"redirect_uri", redirect_},
                                  {"code_verifier", verifier_}},
                                 given_, [this, alive = std::weak_ptr(alive_)](Result<MailTokens> tokens) {
                                     if (alive.expired()) return;
                                     exchange_.reset();
                                     if (tokens && tokens->refresh.empty())
                                         tokens = failure(signInError(SignInError::Refused,
                                                                      "The provider gave no lasting permission. Please "
                                                                      "look whether the scope asks for one."));
                                     finish(std::move(tokens));
                                 });
    }

    void finish(Result<MailTokens> tokens) {
        if (const auto done = std::exchange(done_, nullptr)) done(std::move(tokens));
    }

    const SignInPlace place_;
    Done done_;
    MailTokens given_;
    const std::string state_ = randomWord(), verifier_ = randomWord();
    std::string redirect_;
    std::filesystem::path page_;  // leads the browser to the provider
    std::unique_ptr<LoopbackRedirect> listener_;
    HttpTaskRef exchange_;
    TimerRef limit_;
    const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace

Result<std::unique_ptr<BrowserSignIn>> BrowserSignIn::start(const SignInPlace& place, std::string clientSecret,
                                                            std::string_view loginHint, Done done) {
    if (!clientSecret.empty()) DDLog::maskSecret(clientSecret);
    auto signIn = std::make_unique<LoopbackSignIn>(place, std::move(clientSecret), std::move(done));
    if (auto opened = signIn->openPage(loginHint); !opened) return failed(opened);
    return std::unique_ptr<BrowserSignIn>(std::move(signIn));
}

void renewTokens(const SignInPlace& place, const MailTokens& old, BrowserSignIn::Done done) {
    askForTokens(place, {{"grant_type", "refresh_token"}, {"refresh_token", old.refresh}}, old, std::move(done));
}

}  // namespace qs
