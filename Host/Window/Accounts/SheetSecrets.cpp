#include "Accounts/SheetSecrets.h"

#include "Accounts/AccountSecrets.h"
#include "Keychain/Keychain.h"
#include "Platform.h"

namespace qs {

namespace {

// Once more when the person has unlocked it.
template <class Keep>
Result<void> unlocking(Keep keep) {
    auto kept = keep();
    const auto keychain = Platform::current().keychain;
    if (kept || !keychain || keychainError(kept.error()) != KeychainError::Locked || !keychain->unlock()) return kept;
    return keep();
}

Result<void> keepPassword(const AccountRecord& account, ServerSide side, const std::string& password) {
    if (password.empty()) return {};
    return unlocking([&] { return account_secrets::keep(account.identifier, side, password); });
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
    if (account.incoming && !account.hasOwnOutgoingPassword && account.outgoing->passwordCommand.empty()) {
        secrets.outgoing = secrets.incoming;
        return secrets;
    }
    if (isNew) return secrets;
    auto secret = account_secrets::secretFor(account, ServerSide::Outgoing);
    if (!secret) return failed(secret);
    secrets.outgoing = std::move(*secret);
    return secrets;
}

Result<void> keepSecrets(const AccountRecord& account, const SheetSecrets& given) {
    if (account.incoming)
        if (auto kept = keepPassword(account, ServerSide::Incoming, given.typed.incoming); !kept) return kept;
    if (given.tokens)
        if (auto kept = unlocking([&] { return account_secrets::keepTokens(account.identifier, *given.tokens); });
            !kept)
            return kept;
    const bool isOwn = account.outgoing && (!account.incoming || account.hasOwnOutgoingPassword);
    return isOwn ? keepPassword(account, ServerSide::Outgoing, given.typed.outgoing) : Result<void>();
}

}  // namespace qs
