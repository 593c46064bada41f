// The sign-in by the browser in the sheet of an account, and the tokens that it gave. They are good for nothing else
// than what they were asked for: another client, provider or user signs in anew. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "AccountRecord.h"

namespace qs {

class SheetSignIn {
public:
    // Opens the browser. `typedSecret` is what stands in the field, `clientSecret` what is used.
    Result<void> start(const AccountRecord& account, std::string typedSecret, std::string clientSecret,
                       std::function<void(Result<void>)> done);
    void stop() { underWay_.reset(); }
    void forget() { given_.reset(); }
    // Empty when there are none for just this.
    std::optional<MailTokens> tokens(const AccountRecord& account, const std::string& typedSecret) const;

private:
    struct Given {
        SignInPlace place;
        std::string user, typedSecret;
        MailTokens tokens;
    };
    std::unique_ptr<BrowserSignIn> underWay_;
    std::optional<Given> given_;
};

}  // namespace qs
