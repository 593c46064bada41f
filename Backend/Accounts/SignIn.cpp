#include "Accounts/SignIn.h"

#include <sodium.h>

#include <array>

#include "Accounts/AccountRules.h"
#include "Accounts/PasswordHasher.h"
#include "Accounts/RateLimiter.h"
#include "Service.h"
#include "Store/SqlPool.h"
#include "Text/Ascii.h"
#include "Text/Digests.h"
#include "Web/Answers.h"
#include "Web/FormFields.h"
#include "Web/PeerAddress.h"

namespace qs {

namespace {

constexpr TimeInterval kKnownFor = 900;
constexpr std::size_t kMostKnown = 20'000;

HttpServerResponse refusal(std::string_view sentence) {
    HttpServerResponse response = errorAnswer(401, sentence);
    response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"Quillstead\", charset=\"UTF-8\"");
    return response;
}

}  // namespace

SignIn::SignIn(SqlPool& database, PasswordHasher& passwords, RateLimits& limits)
    : database_(database),
      passwords_(passwords),
      limits_(limits),
      key_(randomDataWithBytes(crypto_generichash_KEYBYTES)) {}

tl::expected<Account, HttpServerResponse> SignIn::account(const Call& call) {
    const auto credentials = basicCredentials(call.http.header("Authorization"));
    if (!credentials) return tl::unexpected(refusal("Please sign in with your email address and password."));
    return account(call, credentials->user, credentials->password);
}

tl::expected<Account, HttpServerResponse> SignIn::account(const Call& call, const std::string& address,
                                                          const std::string& password) {
    const std::string email = normalisedAddress(address);
    std::string waiting;
    const auto found = database_.transaction([&](SqlConnection& database) {
        auto account = accountWithEmail(database, email);
        if (!account) waiting = waitingSignUp(database, email, call.now - kSignUpLife);
        return account;
    });
    const std::string kept = found ? found->passwordHash : waiting;
    const std::string digest = digestOf(email, password, kept);
    const std::string peer = limitKeyOf(call.peer);
    const bool wasRight = found && isKnown(digest, call.now);
    if (!wasRight) {
        for (auto [limiter, key] : {std::pair(&limits_.failuresByPeer, &peer), {&limits_.failuresByAccount, &email}})
            if (!limiter->hasTry(*key, call.now))
                return tl::unexpected(tooManyAnswer(limiter->secondsToWait(*key, call.now)));
        // One digest is made whether there is an account, a sign-up that waits, or nothing.
        if (!passwords_.matches(kept, password)) {
            limits_.failuresByPeer.take(peer, call.now);
            limits_.failuresByAccount.take(email, call.now);
            return tl::unexpected(refusal("The email address or the password is wrong."));
        }
    }
    // Said only to somebody who knows the password.
    if (!found)
        return tl::unexpected(
            refusal("Please confirm your email address first: follow the link in the letter that was sent to it."));
    if (!wasRight) know(digest, call.now);
    const std::string caller = std::to_string(found->id);
    if (!limits_.callsByAccount.take(caller, call.now))
        return tl::unexpected(tooManyAnswer(limits_.callsByAccount.secondsToWait(caller, call.now)));
    return *found;
}

std::string SignIn::digestOf(const std::string& email, const std::string& password, const std::string& kept) const {
    // Lengths keep pieces of different cuts apart.
    const std::string text =
        std::to_string(email.size()) + "." + std::to_string(password.size()) + "." + email + password + kept;
    std::array<unsigned char, crypto_generichash_BYTES> digest{};
    const void* plain = text.data();
    const void* key = key_.data();
    crypto_generichash(digest.data(), digest.size(), static_cast<const unsigned char*>(plain), text.size(),
                       static_cast<const unsigned char*>(key), key_.size());
    return {digest.begin(), digest.end()};
}

bool SignIn::isKnown(const std::string& digest, Date now) {
    const std::lock_guard guard(lock_);
    const auto known = known_.find(digest);
    return known != known_.end() && now < known->second;
}

void SignIn::know(const std::string& digest, Date now) {
    const std::lock_guard guard(lock_);
    if (known_.size() >= kMostKnown) std::erase_if(known_, [&](const auto& each) { return each.second <= now; });
    if (known_.size() >= kMostKnown) known_.clear();
    known_[digest] = now + kKnownFor;
}

}  // namespace qs
