// Where mailboxes of the person's may lie: not in one that takes nothing, by the outline of mailboxes. Main thread.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class MailAccount;
class MailApplication;
class Mailbox;

// A sentence for the person where it can't. Paths have levels parted by "/".
Result<void> mailboxCanLieAt(const MailApplication& application, const MailAccount& account, const std::string& path);
// Made where that is so.
Result<std::shared_ptr<Mailbox>> createMailbox(MailApplication& application, const std::string& account,
                                               const std::string& path);

}  // namespace qs
