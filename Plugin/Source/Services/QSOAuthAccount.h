// A sign-in by OAuth 2 in the person's browser, as all workers of such services share it: opens the service's page,
// turns the code that the browser brings into tokens, keeps them in the keychain under the service's identifier, and
// renews them. Owned by a worker. Main thread.
//
// Where the service's registration names a loopback address instead of the scheme ("http://127.0.0.1/box-redirect" as
// "Redirect" in the configuration), a listener takes the browser's answer, and a random state guards it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "External/AFOAuth2Manager/AFOAuthCredential.h"
#include "Foundation/Result.h"

namespace qs {

class LoopbackRedirect;
class QSService;

inline constexpr const char* kServiceAuthErrorDomain = "com.tallowbay.Quillstead.Service.Auth";

struct QSOAuthProvider {
    std::function<std::string(const std::string& redirectURI)> authorizePage;  // without a state
    std::string fixedState;                                                    // sent where no random one is
    std::string tokenBase, tokenPath;
    std::string clientID, clientSecret;
    std::string redirect;     // of the scheme "quillstead", or "http://127.0.0.1/<name>", which gets a free port
    bool takesProof = false;  // a code challenge (RFC 7636) is added

    bool isOverLoopback() const { return redirect.starts_with("http://127.0.0.1/"); }
};

class QSOAuthAccount {
public:
    using Done = std::function<void()>;
    using Failed = std::function<void(const Error& error)>;

    QSOAuthAccount(std::weak_ptr<QSService> service, std::function<QSOAuthProvider()> provider);
    ~QSOAuthAccount();

    // Opens the page; the service is linking when this succeeds.
    Result<void> openPage();
    // Exchanges the code and stores the credential. A missing code is an error. `failed` may be called before `done`,
    // and then `done` is not.
    void redeem(const std::optional<std::string>& code, Done done, Failed failed);
    // Makes sure of a token that has not expired. Marks the service as linked, or not, after the block. Both may be
    // null.
    void refreshAccessToken(Done done, Failed failed);
    std::optional<AFOAuthCredential> credential() const;

private:
    std::string redirectURI() const;  // as sent in both requests
    Result<void> listenFor(const std::string& name, const std::string& state);

    std::weak_ptr<QSService> service_;
    std::function<QSOAuthProvider()> provider_;
    std::optional<std::string> verifier_;
    std::unique_ptr<LoopbackRedirect> loopback_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
