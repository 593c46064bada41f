#include "Accounts/AccountSecrets.h"

#include <mutex>
#include <vector>

#include "AccountRecord.h"
#include "Foundation/Json.h"
#include "Foundation/Log.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Smtp/PasswordCommand.h"

namespace qs {

namespace {

constexpr const char* kErrorDomain = "AccountSecrets";
enum Code { kNoKeychain = 1, kNotSignedIn = 2 };
constexpr const char* kKeychainService = "Quillstead mail account";

struct Tokens {
    std::mutex lock;
    AccessTokenSource source;
};

Tokens& tokens() {
    static Tokens tokens;
    return tokens;
}

AccessTokenSource tokenSource() {
    const std::lock_guard hold(tokens().lock);
    return tokens().source;
}

// Between reading a sign-in and replacing it nobody else may.
std::mutex& signInLock() {
    static std::mutex lock;
    return lock;
}

KeychainName itemOf(std::string_view identifier, std::string_view what) {
    return KeychainName::service(kKeychainService, std::string(identifier) + "." + std::string(what));
}

KeychainName passwordOf(std::string_view identifier, ServerSide side) {
    return itemOf(identifier, side == ServerSide::Incoming ? "incoming" : "outgoing");
}

KeychainName signInOf(std::string_view identifier) { return itemOf(identifier, "signin"); }

tl::unexpected<Error> noKeychain() { return failure(kErrorDomain, kNoKeychain, "There is no keychain."); }

// The keychain's own sentence tells what happened, but not to which account.
Error withName(Error error, const AccountRecord& account) {
    if (keychainError(error) == KeychainError::Missing)
        error.description = "There is no password for “" + account.displayName +
                            "” in the keychain. Enter it in the preferences, under Accounts.";
    else
        error.description = "The password of “" + account.displayName + "” could not be read. " + error.description;
    return error;
}

Result<std::string> fromKeychain(const AccountRecord& account, ServerSide side) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return noKeychain();
    auto secret = keychain->read(passwordOf(account.identifier, side));
    if (!secret) return failure(withName(secret.error(), account));
    DDLog::maskSecret(*secret);
    return secret;
}

Result<std::string> token(const AccountRecord& account) {
    const AccessTokenSource source = tokenSource();
    if (!source.token)
        return failure(kErrorDomain, kNotSignedIn,
                       "“" + account.displayName + "” signs in by the browser, and that is not set up yet.");
    auto token = source.token(account);
    if (token) DDLog::maskSecret(*token);
    return token;
}

template <class Server>
Result<std::string> secretOf(const AccountRecord& account, const Server& server, ServerSide side) {
    if (server.user.empty()) return std::string();
    if (server.authentication == ServerAuthentication::XOAuth2) return token(account);
    if (!server.passwordCommand.empty()) return runPasswordCommand(server.passwordCommand);
    return fromKeychain(account, side);
}

Result<void> writeTokens(std::string_view identifier, const MailTokens& tokens) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return noKeychain();
    return keychain->write(signInOf(identifier), jsonText(Dictionary{{"access", tokens.access},
                                                                     {"refresh", tokens.refresh},
                                                                     {"expires", tokens.expires.secondsSince1970},
                                                                     {"clientSecret", tokens.clientSecret}}));
}

Result<void> removeItems(const std::vector<KeychainName>& items) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return {};
    const std::lock_guard hold(signInLock());
    Result<void> done;
    for (const KeychainName& item : items)
        if (auto removed = keychain->remove(item);
            !removed && keychainError(removed.error()) != KeychainError::Missing && done)
            done = std::move(removed);
    return done;
}

}  // namespace

void setAccessTokenSource(AccessTokenSource source) {
    const std::lock_guard hold(tokens().lock);
    tokens().source = std::move(source);
}

Result<std::string> account_secrets::secretFor(const AccountRecord& account, ServerSide side) {
    if (side == ServerSide::Incoming)
        return account.incoming ? secretOf(account, *account.incoming, side) : Result<std::string>(std::string());
    if (!account.outgoing) return std::string();
    const SubmissionServer& server = *account.outgoing;
    const bool isShared = account.incoming && !account.hasOwnOutgoingPassword && server.passwordCommand.empty() &&
                          server.authentication == ServerAuthentication::Password && !server.user.empty();
    return isShared ? secretFor(account, ServerSide::Incoming) : secretOf(account, server, side);
}

void account_secrets::tokenWasRefused(const AccountRecord& account, std::string_view token) {
    if (const AccessTokenSource source = tokenSource(); source.wasRefused) source.wasRefused(account, token);
}

Result<void> account_secrets::keep(std::string_view identifier, ServerSide side, std::string_view password) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return noKeychain();
    DDLog::maskSecret(password);
    return keychain->write(passwordOf(identifier, side), password);
}

Result<MailTokens> account_secrets::tokensOf(const AccountRecord& account) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return noKeychain();
    const auto kept = keychain->read(signInOf(account.identifier));
    if (!kept && keychainError(kept.error()) == KeychainError::Missing)
        return failure(kErrorDomain, kNotSignedIn,
                       "“" + account.displayName +
                           "” is not signed in. Please sign in again in the preferences, under Accounts.");
    if (!kept) return failed(kept);
    const auto value = parseJson(*kept);
    if (!value) return failed(value);
    MailTokens tokens{.access = (*value)["access"].stringValue(),
                      .refresh = (*value)["refresh"].stringValue(),
                      .expires = {(*value)["expires"].doubleValue()},
                      .clientSecret = (*value)["clientSecret"].stringValue()};
    for (const std::string& secret : {tokens.access, tokens.refresh, tokens.clientSecret})
        if (!secret.empty()) DDLog::maskSecret(secret);
    return tokens;
}

Result<void> account_secrets::keepTokens(std::string_view identifier, const MailTokens& tokens) {
    const std::lock_guard hold(signInLock());
    return writeTokens(identifier, tokens);
}

Result<MailTokens> account_secrets::keepRenewed(const AccountRecord& account, std::string_view refresh,
                                                const MailTokens& renewed) {
    const std::lock_guard hold(signInLock());
    auto kept = tokensOf(account);
    if (!kept || kept->refresh != refresh) return kept;
    if (auto written = writeTokens(account.identifier, renewed); !written) return failed(written);
    return renewed;
}

bool account_secrets::isNotSignedIn(const Error& error) {
    return error.domain == kErrorDomain && error.code == kNotSignedIn;
}

Result<void> account_secrets::forget(std::string_view identifier) {
    return removeItems({passwordOf(identifier, ServerSide::Incoming), passwordOf(identifier, ServerSide::Outgoing),
                        signInOf(identifier)});
}

void account_secrets::forgetUnused(const AccountRecord& account) {
    const auto usesPassword = [](const auto& server) {
        return server && server->authentication == ServerAuthentication::Password && !server->user.empty() &&
               server->passwordCommand.empty();
    };
    const bool isShared = account.incoming && !account.hasOwnOutgoingPassword;
    std::vector<KeychainName> items;
    if (!usesPassword(account.incoming)) items.push_back(passwordOf(account.identifier, ServerSide::Incoming));
    if (isShared || !usesPassword(account.outgoing))
        items.push_back(passwordOf(account.identifier, ServerSide::Outgoing));
    if (!account.signIn) items.push_back(signInOf(account.identifier));
    if (const auto removed = removeItems(items); !removed)
        logWarning("a password stays in the keychain: " + removed.error().description);
}

Result<account_secrets::Everything> account_secrets::everythingOf(std::string_view identifier) {
    const auto keychain = Platform::current().keychain;
    if (!keychain) return noKeychain();
    Everything all;
    for (const auto& [item, place] : {std::pair(passwordOf(identifier, ServerSide::Incoming), &all.incoming),
                                      std::pair(passwordOf(identifier, ServerSide::Outgoing), &all.outgoing),
                                      std::pair(signInOf(identifier), &all.signIn)}) {
        auto secret = keychain->read(item);
        const auto error = secret ? std::nullopt : keychainError(secret.error());
        if (secret)
            *place = std::move(*secret);
        else if (error != KeychainError::Missing && error != KeychainError::Damaged)
            return failed(secret);
    }
    return all;
}

Result<void> account_secrets::putBack(std::string_view identifier, const Everything& before) {
    const auto now = everythingOf(identifier);
    if (!now) return failed(now);
    const auto keychain = Platform::current().keychain;
    const std::lock_guard hold(signInLock());
    Result<void> done;
    const auto put = [&](const KeychainName& item, const auto& is, const auto& was) {
        if (is == was) return;
        if (auto changed = was ? keychain->write(item, *was) : keychain->remove(item); !changed) done = changed;
    };
    put(passwordOf(identifier, ServerSide::Incoming), now->incoming, before.incoming);
    put(passwordOf(identifier, ServerSide::Outgoing), now->outgoing, before.outgoing);
    put(signInOf(identifier), now->signIn, before.signIn);
    return done;
}

}  // namespace qs
