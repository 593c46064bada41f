// Gives out the access tokens of accounts that sign in by the browser, and renews those that are about to expire. Puts
// itself in place as the AccessTokenSource while it lives. Made and destroyed on the main thread, where renewing runs;
// tokens are asked for elsewhere, and who waits for one when this goes gets an error.
#pragma once

#include <memory>

namespace qs {

class AccountTokens {
public:
    AccountTokens();
    ~AccountTokens();

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace qs
