#include "Accounts/AccountTokens.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>

#include "AccountRecord.h"
#include "Accounts/AccountSecrets.h"
#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"

namespace qs {

namespace {

constexpr TimeInterval kSpare = 60;  // before a token's end, so that it outlives the sign-in that it is for

// One renewal under way. A provider may accept a refresh token only once, so there is never a second for an account.
struct Renewal {
    std::optional<Result<std::string>> result;
};

Error endOfSignIn(const AccountRecord& account, const Error& error) {
    Error told = error;
    told.description = "“" + account.displayName + "” could not sign in. " + error.description;
    if (error.domain == kSignInErrorDomain && error.code == static_cast<int>(SignInError::Refused))
        told.description += " Please sign in again in the preferences, under Accounts.";
    return told;
}

}  // namespace

struct AccountTokens::Shared : std::enable_shared_from_this<Shared> {
    std::mutex lock;
    std::condition_variable changed;
    bool isOver = false;
    std::map<std::string, std::shared_ptr<Renewal>> underWay;  // by account

    Result<std::string> token(const AccountRecord& account) {
        if (!account.signIn)
            return failure(kSignInErrorDomain, static_cast<int>(SignInError::Refused),
                           "It is not known where “" + account.displayName +
                               "” signs in. Please sign in again in the "
                               "preferences, under Accounts.");
        std::unique_lock hold(lock);
        auto renewal = renewalOf(account);
        if (!renewal) {
            hold.unlock();
            const auto tokens = account_secrets::tokensOf(account);
            if (!tokens) return failed(tokens);
            if (RunLoop::main().now() < tokens->expires - kSpare) return tokens->access;
            assertThat(!RunLoop::main().isMainThread(), "A renewal would wait for the thread that it runs on");
            hold.lock();
            renewal = renewalOf(account);
            if (!renewal) renewal = begin(account, *tokens);
        }
        changed.wait(hold, [&] { return renewal->result || isOver; });
        if (!renewal->result)
            return failure(kSignInErrorDomain, static_cast<int>(SignInError::NoAnswer), "The program is ending.");
        return *renewal->result;
    }

    // With the lock held, as begin().
    std::shared_ptr<Renewal> renewalOf(const AccountRecord& account) const {
        const auto found = underWay.find(account.identifier);
        return found == underWay.end() ? nullptr : found->second;
    }

    std::shared_ptr<Renewal> begin(const AccountRecord& account, const MailTokens& tokens) {
        auto renewal = underWay[account.identifier] = std::make_shared<Renewal>();
        RunLoop::main().post([weak = weak_from_this(), account, tokens, time = RunLoop::main().holdTime()] {
            renewTokens(*account.signIn, tokens, [weak, account, time](const Result<MailTokens>& renewed) {
                // The keychain may take its time.
                RunLoop::main().postToGlobalQueue([weak, account, renewed, time] {
                    if (const auto self = weak.lock()) self->end(account, renewed);
                });
            });
        });
        return renewal;
    }

    void end(const AccountRecord& account, const Result<MailTokens>& renewed) {
        Result<std::string> result =
            renewed ? Result<std::string>(renewed->access) : failure(endOfSignIn(account, renewed.error()));
        if (renewed) {
            // Who can't keep it has it for now, and asks again next time.
            if (const auto kept = account_secrets::keepTokens(account.identifier, *renewed); !kept)
                logError("the renewed sign-in of " + account.identifier + " was not kept: " + kept.error().description);
        }
        const std::lock_guard hold(lock);
        if (const auto found = underWay.find(account.identifier); found != underWay.end()) {
            found->second->result = std::move(result);
            underWay.erase(found);
        }
        changed.notify_all();
    }
};

AccountTokens::AccountTokens() : shared_(std::make_shared<Shared>()) {
    setAccessTokenSource([shared = shared_](const AccountRecord& account) { return shared->token(account); });
}

AccountTokens::~AccountTokens() {
    setAccessTokenSource(nullptr);
    const std::lock_guard hold(shared_->lock);
    shared_->isOver = true;
    shared_->changed.notify_all();
}

}  // namespace qs
