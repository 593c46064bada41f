// Adding, changing and removing accounts with all that hangs on them. Main thread.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class MailEngine;
struct AccountRecord;

// Posted on the default notification centre after the book has changed. The library follows a moment later.
inline constexpr std::string_view MailAccountsDidChangeNotification = "MailAccountsDidChange";

// Letters and digits of the address, unlike that of any account, and of a removed one of which something is left.
std::string freshAccountIdentifier(MailEngine& engine, std::string_view address);
// Adds or replaces.
Result<void> putAccount(MailEngine& engine, AccountRecord record);
// What had stopped for want of a password or a sign-in goes on: the mail at the server, messages that were refused.
void tryAgainWithNewSecrets(MailEngine& engine, std::string_view identifier);
// What lies in its outbox, also when it is switched off.
int unsentMessages(MailEngine& engine, std::string_view identifier);
enum class MailOfAccount {
    Stays,  // its folder is left as it is
    Goes    // deleted, but never a Maildir tree of the person's own, nor what links lead to
};
// The passwords go, too. Fails, and changes nothing, while a message of the account is being sent or was perhaps sent.
// What of it can't be taken away just now goes at a later start.
Result<void> removeAccount(MailEngine& engine, std::string_view identifier, MailOfAccount mail);
// What removals of former runs have left. Returns at once.
void finishRemovals(MailEngine& engine);

}  // namespace qs
