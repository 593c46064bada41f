// The secrets of an account that is being added or changed: what was typed and signed in, else what the account has.
// Blocking, as the keychain is: not from the main thread.
#pragma once

#include <functional>
#include <optional>

#include "AccountRecord.h"
#include "Accounts/AccountCheck.h"
#include "Accounts/AccountSecrets.h"
#include "Foundation/Result.h"

namespace qs {

struct SheetSecrets {
    GivenSecrets typed;                // passwords; empty for none
    std::optional<MailTokens> tokens;  // of a sign-in by the browser in this sheet
    bool isEmpty() const { return typed.incoming.empty() && typed.outgoing.empty() && !tokens; }
};

// What to try `account` with. `isNew`: nothing is kept under its identifier yet.
Result<GivenSecrets> secretsFor(const AccountRecord& account, bool isNew, const SheetSecrets& given);
// The secret of this program at the provider that `account` signs in at, as it was kept; empty for none.
Result<std::string> keptClientSecret(const AccountRecord& account);

// What new secrets have taken the place of, to be put back when the account is not saved after all.
struct ReplacedSecrets {
    std::string account;
    std::optional<account_secrets::Everything> before;  // none: nothing was replaced
};
// Into the keychain, all or nothing. Asks the person to unlock it, where need be; `isCancelled` is looked at once that
// is over.
Result<ReplacedSecrets> keepSecrets(const AccountRecord& account, const SheetSecrets& given,
                                    const std::function<bool()>& isCancelled);
void putBack(const ReplacedSecrets& replaced);

}  // namespace qs
