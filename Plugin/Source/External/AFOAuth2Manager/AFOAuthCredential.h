// An access token with its refresh token and expiry (RFC 6749), which keeps itself in the keychain under
// "AFOAuthCredentialService" and an identifier. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Foundation/Date.h"
#include "Foundation/Value.h"

namespace qs {

// Values of kSecAttrAccessible.
inline constexpr std::string_view kSecAttrAccessibleWhenUnlocked = "ak";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlock = "ck";

class AFOAuthCredential {
public:
    AFOAuthCredential() = default;
    AFOAuthCredential(std::optional<std::string> token, std::optional<std::string> tokenType)
        : accessToken_(std::move(token)), tokenType_(std::move(tokenType)) {}
    static AFOAuthCredential credentialWithOAuthToken(std::optional<std::string> token,
                                                      std::optional<std::string> tokenType);

    const std::optional<std::string>& accessToken() const { return accessToken_; }
    const std::optional<std::string>& tokenType() const { return tokenType_; }
    const std::optional<std::string>& refreshToken() const { return refreshToken_; }
    std::optional<Date> expiration() const { return expiration_; }
    bool isExpired() const;  // never without an expiry

    void setRefreshToken(std::optional<std::string> token) { refreshToken_ = std::move(token); }
    void setExpiration(std::optional<Date> expiration) { expiration_ = expiration; }
    // An assertion failure unless both are given.
    void setRefreshToken(std::optional<std::string> token, std::optional<Date> expiration);

    // For the debugger: it shows the tokens. Logs mask them.
    std::string description() const;

    // True on success. A credential without an access token never replaces one that has one.
    // The keychain here gives its items out while it is unlocked and never else, whatever accessibility is asked for.
    static bool storeCredential(const AFOAuthCredential& credential, std::string_view identifier,
                                std::string_view accessibility = kSecAttrAccessibleWhenUnlocked);
    static bool deleteCredentialWithIdentifier(std::string_view identifier);
    // Nothing when there is none, when it can't be read now, or when it is damaged.
    static std::optional<AFOAuthCredential> retrieveCredentialWithIdentifier(std::string_view identifier);
    // Whether there is none for certain, or a damaged one; false while the keychain can't be read.
    static bool isMissing(std::string_view identifier);

    Value archived() const;  // by the names of the fields
    static std::optional<AFOAuthCredential> unarchived(const Value& archive);

    bool operator==(const AFOAuthCredential&) const = default;

private:
    std::optional<std::string> accessToken_, tokenType_, refreshToken_;
    std::optional<Date> expiration_;
};

}  // namespace qs
