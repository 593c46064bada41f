// Leaving a newsletter by a mail to the address that it names, from the account that it came to. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace qs {

class DeliveryAccount;

// The account may be null; `newsletter` is its sender's name, for the log of what was asked of whom. True when the mail
// server took the mail.
void unsubscribeByMail(std::string_view mailto, std::shared_ptr<DeliveryAccount> account, std::string newsletter,
                       std::function<void(bool unsubscribed)> completion);

}  // namespace qs
