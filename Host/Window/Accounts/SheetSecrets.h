// The secrets of an account that is being added or changed: what was typed and signed in, else what the account has.
// Blocking, as the keychain is: not from the main thread.
#pragma once

#include <optional>

#include "AccountRecord.h"
#include "Accounts/AccountCheck.h"
#include "Foundation/Result.h"

namespace qs {

struct SheetSecrets {
    GivenSecrets typed;                // passwords; empty for none
    std::optional<MailTokens> tokens;  // of a sign-in by the browser in this sheet
};

// What to try `account` with. `isNew`: nothing is kept under its identifier yet.
Result<GivenSecrets> secretsFor(const AccountRecord& account, bool isNew, const SheetSecrets& given);
// Into the keychain. Asks the person to unlock it, where need be.
Result<void> keepSecrets(const AccountRecord& account, const SheetSecrets& given);

}  // namespace qs
