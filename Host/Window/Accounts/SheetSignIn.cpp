#include "Accounts/SheetSignIn.h"

namespace qs {

Result<void> SheetSignIn::start(const AccountRecord& account, std::string typedSecret, std::string clientSecret,
                                std::function<void(Result<void>)> done) {
    forget();
    const std::string& user = account.incoming->user;
    auto started = BrowserSignIn::start(*account.signIn, std::move(clientSecret), user,
                                        [this, asked = Given{*account.signIn, user, std::move(typedSecret), {}},
                                         done = std::move(done)](const Result<MailTokens>& tokens) {
                                            const auto ended = std::move(underWay_);
                                            if (!tokens) return done(failed(tokens));
                                            given_ = asked;
                                            given_->tokens = *tokens;
                                            done({});
                                        });
    if (!started) return failed(started);
    underWay_ = std::move(*started);
    return {};
}

std::optional<MailTokens> SheetSignIn::tokens(const AccountRecord& account, const std::string& typedSecret) const {
    if (!given_ || account.signIn != given_->place || account.incoming->user != given_->user ||
        typedSecret != given_->typedSecret)
        return {};
    return given_->tokens;
}

}  // namespace qs
