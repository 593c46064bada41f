// Tries an account before it is saved: signs in at both servers and tells, side by side, what is wrong.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qs {

struct AccountRecord;
enum class ServerSide;

struct AccountFault {
    enum class Field { Host, Security, User, Other };  // where the person can set it right
    ServerSide side;
    Field field = Field::Other;
    std::string text;  // sentences for the person
};

struct GivenSecrets {
    std::string incoming, outgoing;  // passwords, or access tokens where the record says XOAUTH2
    ~GivenSecrets();                 // wipes them
};

// One check under way. Everything on the main thread, the work elsewhere; dropping it cancels.
class AccountCheck {
public:
    // `done` comes once, unless it is cancelled, with an empty list when all is well. `hint` is what the provider wants
    // people to know, and is told with a refused password.
    static std::unique_ptr<AccountCheck> start(const AccountRecord& account, GivenSecrets secrets, std::string hint,
                                               std::function<void(std::vector<AccountFault>)> done);
    ~AccountCheck();

private:
    struct Shared;
    explicit AccountCheck(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
    std::shared_ptr<Shared> shared_;
};

}  // namespace qs
