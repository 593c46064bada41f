// How an account stands in Accounts.plist, and what makes it one.
#pragma once

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

struct AccountRecord;

inline constexpr const char* kAccountBookErrorDomain = "AccountBook";
enum AccountBookError {
    kAccountDamaged = 1,
    kInvalidIdentifier = 2,
    kInvalidAddress = 3,
    kInvalidServer = 4,
    kInvalidFolder = 5
};

Value valueOf(const AccountRecord& record);
// Understands the form of earlier versions too, and checks. Fails with a sentence for the person.
Result<AccountRecord> accountRecordFrom(const Value& value);
Result<void> checkAccount(const AccountRecord& record);

}  // namespace qs
