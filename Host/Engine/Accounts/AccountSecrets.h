// Where the secrets of accounts come from: passwords from the keychain or from a command of the person's, access tokens
// from whoever keeps them fresh. Safe from every thread, but blocking for seconds: not from the main thread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

struct AccountRecord;
struct MailTokens;

enum class ServerSide { Incoming, Outgoing };

// Gives the access token of an account that signs in with OAuth 2, refreshed where need be. A port: the OAuth 2 client
// puts itself here. Called from every thread; `token` may block.
struct AccessTokenSource {
    std::function<Result<std::string>(const AccountRecord&)> token = nullptr;
    std::function<void(const AccountRecord&, std::string_view token)> wasRefused = nullptr;
};
void setAccessTokenSource(AccessTokenSource source);  // main thread; empty: such accounts can't sign in

namespace account_secrets {

// The password, or with XOAUTH2 the access token, masked in the log from now on. Empty for a server without a user. An
// error is a sentence for the person; of the keychain's domain where its code tells "missing" from "locked" and
// "unreachable".
Result<std::string> secretFor(const AccountRecord& account, ServerSide side);
// A server did not take this access token, so it is not given out again, however long it was meant to hold.
void tokenWasRefused(const AccountRecord& account, std::string_view token);
// Into the keychain, under the account's name.
Result<void> keep(std::string_view identifier, ServerSide side, std::string_view password);
// What a sign-in by the browser gave; in the keychain, too. Masked in the log from now on.
Result<MailTokens> tokensOf(const AccountRecord& account);
Result<void> keepTokens(std::string_view identifier, const MailTokens& tokens);
// The same for those that were renewed, but never over another sign-in than the one with this refresh token, nor for an
// account whose sign-in is gone. Answers what is kept then, which are other tokens when somebody signed in meanwhile.
Result<MailTokens> keepRenewed(const AccountRecord& account, std::string_view refresh, const MailTokens& renewed);
// Whether an error says that the account is not signed in at all.
bool isNotSignedIn(const Error& error);
// All that are there; the others go also where one can't be removed.
Result<void> forget(std::string_view identifier);
// What an account of this record does not use.
void forgetUnused(const AccountRecord& account);

// All that is kept for an account, as the keychain has it; empty where it has nothing.
struct Everything {
    std::optional<std::string> incoming, outgoing, signIn;
};
Result<Everything> everythingOf(std::string_view identifier);
// As it was before.
Result<void> putBack(std::string_view identifier, const Everything& before);

}  // namespace account_secrets

}  // namespace qs
