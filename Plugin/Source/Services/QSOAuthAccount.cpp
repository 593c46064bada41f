#include "Services/QSOAuthAccount.h"

#include "Application/MailApp.h"
#include "Core/QSRedirects.h"
#include "Core/QSSession.h"
#include "External/AFOAuth2Manager/AFOAuth2Manager.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Platform.h"
#include "Redirects/LoopbackRedirect.h"
#include "Services/QSService.h"
#include "Text/ProofKey.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

constexpr int kMissingCredentials = 1, kMissingCode = 7;

Error authError(int code, const char* text) { return {kServiceAuthErrorDomain, code, QSLocalizedString(text), {}}; }

AFOAuth2Manager managerFor(const QSOAuthProvider& provider) {
    AFOAuth2Manager manager(provider.tokenBase, provider.clientID, provider.clientSecret);
    manager.setUseHTTPBasicAuthentication(false);
    return manager;
}

}  // namespace

QSOAuthAccount::QSOAuthAccount(std::weak_ptr<QSService> service, std::function<QSOAuthProvider()> provider)
    : service_(std::move(service)), provider_(std::move(provider)) {}

QSOAuthAccount::~QSOAuthAccount() = default;

std::string QSOAuthAccount::redirectURI() const { return loopback_ ? loopback_->address() : provider_().redirect; }

Result<void> QSOAuthAccount::openPage() {
    const auto service = service_.lock();
    const auto& workspace = Platform::current().workspace;
    if (!service || !workspace) return failure(kServiceAuthErrorDomain, 0, "There is no browser.");
    const QSOAuthProvider provider = provider_();
    std::optional<std::string> state;
    if (provider.isOverLoopback()) state = randomWord();
    loopback_.reset();
    if (provider.isOverLoopback())
        if (auto listening = listenFor(provider.redirect.substr(provider.redirect.rfind('/') + 1), *state); !listening)
            return listening;
    std::string page = provider.authorizePage(redirectURI());
    if (const std::string sent = state.value_or(provider.fixedState); !sent.empty()) page += "&state=" + sent;
    verifier_.reset();
    if (provider.takesProof) {
        verifier_ = randomWord();
        page += "&code_challenge=" + codeChallenge(*verifier_) + "&code_challenge_method=S256";
    }
    auto opened = workspace->openURL(page);
    if (opened) service->setLinking(true);
    return opened;
}

Result<void> QSOAuthAccount::listenFor(const std::string& name, const std::string& state) {
    auto listening = LoopbackRedirect::listen(
        {.path = name,
         .sentence = QSLocalizedString("Thank you. Quillstead goes on by itself; you can close this page."),
         .accepts = [state](const std::string& query) { return redirectValues(query)["state"] == state; },
         .arrived =
             [name](const std::string& query) {
                 if (const auto app = MailApp::shared()) handleAddress(*app, "quillstead://" + name + "?" + query);
             }});
    if (!listening) return failed(listening);
    loopback_ = std::move(*listening);
    return {};
}

void QSOAuthAccount::redeem(const std::optional<std::string>& code, Done done, Failed failed) {
    if (!code) return failed(authError(kMissingCode, "Authentication failed due to missing authentication code"));
    const QSOAuthProvider provider = provider_();
    auto manager = managerFor(provider);
    auto success = [this, alive = std::weak_ptr(alive_), done](const AFOAuthCredential& credential) {
        const auto service = alive.expired() ? nullptr : service_.lock();
        // An answer with an error comes here, too, after it was reported.
        if (!service || !credential.accessToken()) return;
        AFOAuthCredential::storeCredential(credential, service->uniqueIdentifier().value_or(""));
        done();
    };
    auto failure = [alive = std::weak_ptr(alive_), failed](const std::optional<Error>& error) {
        if (!alive.expired()) failed(error.value_or(authError(0, "An unknown error occurred during authentication.")));
    };
    DDLog::maskSecret(*code);
    Dictionary form{{"grant_type", "authorization_code"}, {"code", *code}, {"redirect_uri", redirectURI()}};
    if (verifier_) form["code_verifier"] = *std::exchange(verifier_, std::nullopt);
    manager.authenticateUsingOAuthWithParameters(provider.tokenPath, std::move(form), std::move(success),
                                                 std::move(failure));
    loopback_.reset();
}

void QSOAuthAccount::refreshAccessToken(Done done, Failed failed) {
    const auto end = [weak = service_](bool linked) {
        if (const auto service = weak.lock()) service->markAsLinked(linked);
    };
    const auto stored = credential();
    const auto service = service_.lock();
    if (!service) return;
    const std::string identifier = service->uniqueIdentifier().value_or("");
    // A keychain that is locked or out of reach says nothing about the link.
    if (!stored && !AFOAuthCredential::isMissing(identifier)) {
        if (failed) failed(authError(kMissingCredentials, "Failed to get credentials"));
        return;
    }
    if (!stored || !stored->refreshToken()) {
        if (failed) failed(authError(kMissingCredentials, "Failed to get credentials"));
        return end(false);
    }
    if (!stored->isExpired()) {
        if (done) done();
        return end(true);
    }
    const QSOAuthProvider provider = provider_();
    managerFor(provider).authenticateUsingOAuthWithRefreshToken(
        provider.tokenPath, *stored->refreshToken(),
        [end, done, identifier](const AFOAuthCredential& credential) {
            if (!credential.accessToken()) return;  // the error was reported
            AFOAuthCredential::storeCredential(credential, identifier);
            if (done) done();
            end(true);
        },
        [end, failed](const std::optional<Error>& error) {
            logError(stringWithFormat("An error occurred refreshing credential: %@",
                                      {error ? Value(error->description) : Value()}));
            if (failed) failed(error.value_or(authError(0, "An unknown error occurred during authentication.")));
            end(false);
        });
}

std::optional<AFOAuthCredential> QSOAuthAccount::credential() const {
    const auto service = service_.lock();
    return service ? AFOAuthCredential::retrieveCredentialWithIdentifier(service->uniqueIdentifier().value_or(""))
                   : std::nullopt;
}

}  // namespace qs
