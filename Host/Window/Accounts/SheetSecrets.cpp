#include "Accounts/SheetSecrets.h"

#include "Foundation/Log.h"
#include "Keychain/Keychain.h"
#include "Platform.h"

namespace qs {

namespace {

// Once more when the person has unlocked it.
template <class Use>
auto unlocking(Use use) {
    auto used = use();
    const auto keychain = Platform::current().keychain;
    if (used || !keychain || keychainError(used.error()) != KeychainError::Locked || !keychain->unlock()) return used;
    return use();
}

Result<void> keepPassword(const AccountRecord& account, ServerSide side, const std::string& password) {
    return password.empty() ? Result<void>() : account_secrets::keep(account.identifier, side, password);
}

Result<void> keepGiven(const AccountRecord& account, const SheetSecrets& given) {
    if (auto kept = keepPassword(account, ServerSide::Incoming, given.typed.incoming); !kept) return kept;
    if (given.tokens)
        if (auto kept = account_secrets::keepTokens(account.identifier, *given.tokens); !kept) return kept;
    return keepPassword(account, ServerSide::Outgoing, given.typed.outgoing);
}

}  // namespace

Result<GivenSecrets> secretsFor(const AccountRecord& account, bool isNew, const SheetSecrets& given) {
    GivenSecrets secrets = given.typed;
    if (given.tokens) {
        secrets.incoming = given.tokens->access;
    } else if (account.incoming && secrets.incoming.empty() && !isNew) {
        auto secret = account_secrets::secretFor(account, ServerSide::Incoming);
        if (!secret) return failed(secret);
        secrets.incoming = std::move(*secret);
    }
    if (!account.outgoing || !secrets.outgoing.empty()) return secrets;
    const bool isOfSignIn = account.outgoing->authentication == ServerAuthentication::XOAuth2;
    const bool isShared = !account.hasOwnOutgoingPassword && account.outgoing->passwordCommand.empty();
    if (account.incoming && (isOfSignIn || isShared)) {
        secrets.outgoing = secrets.incoming;
        return secrets;
    }
    if (isNew) return secrets;
    auto secret = account_secrets::secretFor(account, ServerSide::Outgoing);
    if (!secret) return failed(secret);
    secrets.outgoing = std::move(*secret);
    return secrets;
}

Result<std::string> keptClientSecret(const AccountRecord& account) {
    const auto tokens = unlocking([&] { return account_secrets::tokensOf(account); });
    if (tokens) return tokens->clientSecret;
    return account_secrets::isNotSignedIn(tokens.error()) ? std::string() : Result<std::string>(failed(tokens));
}

Result<ReplacedSecrets> keepSecrets(const AccountRecord& account, const SheetSecrets& given,
                                    const std::function<bool()>& isCancelled) {
    ReplacedSecrets replaced{account.identifier, {}};
    if (given.isEmpty()) return replaced;
    auto before = unlocking([&] { return account_secrets::everythingOf(account.identifier); });
    if (!before) return failed(before);
    if (isCancelled()) return replaced;
    replaced.before = std::move(*before);
    if (auto kept = unlocking([&] { return keepGiven(account, given); }); !kept) {
        putBack(replaced);
        return failed(kept);
    }
    return replaced;
}

void putBack(const ReplacedSecrets& replaced) {
    if (!replaced.before) return;
    if (const auto back = account_secrets::putBack(replaced.account, *replaced.before); !back)
        logError("the keychain has other secrets of " + replaced.account +
                 " than it should: " + back.error().description);
}

}  // namespace qs
