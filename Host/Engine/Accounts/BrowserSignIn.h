// Signing in at a mail provider in the person's browser: OAuth 2 with an authorization code, a proof key and an answer
// on loopback (RFC 6749, 7636, 8252), and the renewing of what it gave.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

// Where a provider's sign-in is, and under what name this program is registered there. Part of an account's record.
struct SignInPlace {
    std::string authorizePage, tokenAddress;  // https
    std::string scope;                        // words with blanks between
    std::string clientIdentifier;
    auto operator<=>(const SignInPlace&) const = default;
};

// What a sign-in gave. Secret, all of it.
struct MailTokens {
    std::string access, refresh;
    Date expires;              // a server that says nothing about it is taken to mean an hour
    std::string clientSecret;  // goes with every renewal; empty where the provider gave none
};

inline constexpr const char* kSignInErrorDomain = "BrowserSignIn";
enum class SignInError {
    Refused = 1,  // the person or the provider said no: only a new sign-in helps
    NoAnswer = 2  // nothing sensible came back: later may be better
};

// One sign-in under way. Main thread; dropping it ends the wait.
class BrowserSignIn {
public:
    using Done = std::function<void(Result<MailTokens>)>;  // once; the error is a sentence for the person

    // Opens the provider's page. `loginHint` is the address that the page may fill in.
    static Result<std::unique_ptr<BrowserSignIn>> start(const SignInPlace& place, std::string clientSecret,
                                                        std::string_view loginHint, Done done);
    virtual ~BrowserSignIn() = default;
};

// New tokens for `old`, which keep the old refresh token when none comes. Main thread, `done` there; the exchange goes
// on until it ends.
void renewTokens(const SignInPlace& place, const MailTokens& old, BrowserSignIn::Done done);

}  // namespace qs
