// Who asks, by address and password. From every thread; blocking.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <tl/expected.hpp>

#include "HttpServer/HttpTypes.h"
#include "Store/AccountTables.h"

namespace qs {

class PasswordHasher;
class SqlPool;
struct Call;
struct RateLimits;

class SignIn {
public:
    SignIn(SqlPool& database, PasswordHasher& passwords, RateLimits& limits);

    // By Basic authorisation; else the answer to give: 401 for credentials that are wrong, 429 after too many failures
    // or calls. Throws SqlFailure.
    tl::expected<Account, HttpServerResponse> account(const Call& call);
    tl::expected<Account, HttpServerResponse> account(const Call& call, const std::string& email,
                                                      const std::string& password);

private:
    // The plug-in signs each call. What was right a moment ago is known here by a keyed digest, which covers the kept
    // password, too: a changed one takes effect at once.
    std::string digestOf(const std::string& email, const std::string& password, const std::string& kept) const;
    bool isKnown(const std::string& digest, Date now);
    void know(const std::string& digest, Date now);

    SqlPool& database_;
    PasswordHasher& passwords_;
    RateLimits& limits_;
    const std::string key_;
    std::mutex lock_;
    std::map<std::string, Date> known_;  // digest -> until when
};

}  // namespace qs
