// Mail providers that many people use: their servers and how they let programs in. From Providers.json beside this
// file, which is built into the program.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Accounts/BrowserSignIn.h"
#include "Foundation/Result.h"
#include "Transport/TransportSecurity.h"

namespace qs {

enum class ProviderSignIn {
    Password,     // that of the account
    AppPassword,  // one that the provider makes for programs
    Browser       // OAuth 2 alone
};

struct ServerPlace {
    std::string host;
    int port = 0;
    TransportSecurity security = TransportSecurity::Tls;
};

struct Provider {
    std::vector<std::string> domains;
    ServerPlace imap, smtp;
    ProviderSignIn signIn = ProviderSignIn::Password;
    std::optional<SignInPlace> browser = {};  // where it lets programs in by the browser, if it does
    std::string hint;                         // what the person has to know or do; empty for nothing
};

class ProviderTable {
public:
    static Result<ProviderTable> parse(std::string_view json);
    static const ProviderTable& builtIn();
    // Null for none. The domain in any case.
    const Provider* forDomain(std::string_view domain) const;
    const std::vector<Provider>& all() const { return providers_; }

private:
    std::vector<Provider> providers_;
};

}  // namespace qs
