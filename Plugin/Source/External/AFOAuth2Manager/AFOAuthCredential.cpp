#include "External/AFOAuth2Manager/AFOAuthCredential.h"

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RunLoop.h"
#include "Keychain/Keychain.h"
#include "Platform.h"

namespace qs {

namespace {

void requireParameter(bool isGiven, const char* name) {
    assertThat(isGiven, stringWithFormat("Invalid parameter not satisfying: %@", {name}));
}

KeychainName nameOf(std::string_view identifier) {
    requireParameter(!identifier.empty(), "identifier");
    return KeychainName::service("AFOAuthCredentialService", std::string(identifier));
}

Value valueOf(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

std::optional<std::string> textIn(const Value& archive, std::string_view key) {
    const Value& value = archive[key];
    if (value.type() != Value::Type::String) return std::nullopt;
    return value.stringValue();
}

void hideFromLogs(const AFOAuthCredential& credential) {
    for (const auto& token : {credential.accessToken(), credential.refreshToken()})
        if (token) DDLog::maskSecret(*token);
}

}  // namespace

AFOAuthCredential AFOAuthCredential::credentialWithOAuthToken(std::optional<std::string> token,
                                                              std::optional<std::string> tokenType) {
    return {std::move(token), std::move(tokenType)};
}

bool AFOAuthCredential::isExpired() const { return expiration_ && *expiration_ < RunLoop::main().now(); }

void AFOAuthCredential::setRefreshToken(std::optional<std::string> token, std::optional<Date> expiration) {
    requireParameter(token.has_value(), "refreshToken");
    requireParameter(expiration.has_value(), "expiration");
    refreshToken_ = std::move(token);
    expiration_ = expiration;
}

std::string AFOAuthCredential::description() const {
    return stringWithFormat("<%@ accessToken:\"%@\" tokenType:\"%@\" refreshToken:\"%@\" expiration:\"%@\">",
                            {"AFOAuthCredential", valueOf(accessToken_), valueOf(tokenType_), valueOf(refreshToken_),
                             expiration_ ? Value(*expiration_) : Value()});
}

Value AFOAuthCredential::archived() const {
    return Dictionary{{"accessToken", valueOf(accessToken_)},
                      {"tokenType", valueOf(tokenType_)},
                      {"refreshToken", valueOf(refreshToken_)},
                      {"expiration", expiration_ ? Value(*expiration_) : Value()}};
}

std::optional<AFOAuthCredential> AFOAuthCredential::unarchived(const Value& archive) {
    if (archive.type() != Value::Type::Dictionary) return std::nullopt;
    AFOAuthCredential made = credentialWithOAuthToken(textIn(archive, "accessToken"), textIn(archive, "tokenType"));
    made.refreshToken_ = textIn(archive, "refreshToken");
    made.expiration_ = archive["expiration"].dateValue();
    return made;
}

bool AFOAuthCredential::storeCredential(const AFOAuthCredential& credential, std::string_view identifier,
                                        std::string_view /*accessibility*/) {
    const KeychainName name = nameOf(identifier);
    const auto& keychain = Platform::current().keychain;
    if (!keychain) return false;
    hideFromLogs(credential);
    const auto former = retrieveCredentialWithIdentifier(identifier);
    if (!credential.accessToken_ && former && former->accessToken_) {
        logWarning("An answer without an access token does not replace the one that is there.");
        return false;
    }
    const auto written = keychain->write(name, xmlPropertyList(credential.archived()));
    if (!written) logError("A credential could not be kept: " + written.error().description);
    return written.has_value();
}

bool AFOAuthCredential::deleteCredentialWithIdentifier(std::string_view identifier) {
    const KeychainName name = nameOf(identifier);
    const auto& keychain = Platform::current().keychain;
    return keychain && keychain->remove(name);
}

std::optional<AFOAuthCredential> AFOAuthCredential::retrieveCredentialWithIdentifier(std::string_view identifier) {
    const KeychainName name = nameOf(identifier);
    const auto& keychain = Platform::current().keychain;
    if (!keychain) return std::nullopt;
    const auto found = keychain->read(name);
    if (!found) {
        if (keychainError(found.error()) != KeychainError::Missing)
            logWarning("A credential could not be read: " + found.error().description);
        return std::nullopt;
    }
    const auto archive = parsePropertyList(*found);
    if (!archive) return std::nullopt;
    auto credential = unarchived(*archive);
    if (credential) hideFromLogs(*credential);
    return credential;
}

bool AFOAuthCredential::isMissing(std::string_view identifier) {
    const auto& keychain = Platform::current().keychain;
    const auto found = keychain ? keychain->read(nameOf(identifier))
                                : failure(kKeychainErrorDomain, static_cast<int>(KeychainError::Unreachable), "");
    if (!found) return keychainError(found.error()) == KeychainError::Missing;
    const auto archive = parsePropertyList(*found);
    return !archive || !unarchived(*archive);
}

}  // namespace qs
