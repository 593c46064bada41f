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
    SignInPlace place;
    std::optional<Result<std::string>> result;
};

// Tokens that a renewal gave and the keychain did not take. The provider may have forgotten those that are kept.
struct Unkept {
    MailTokens tokens;
    std::string instead;  // of the sign-in with this refresh token
};

struct AccountState {
    std::shared_ptr<Renewal> renewal;
    std::uint64_t ended = 0;  // renewals so far
    std::optional<Unkept> unkept;
    std::string refused;  // an access token that a server did not take
};

// The tokens to go by, and the refresh token that the keychain has.
struct Known {
    MailTokens tokens;
    std::string kept;
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
    std::map<std::string, AccountState> accounts;

    Result<std::string> token(const AccountRecord& account) {
        if (!account.signIn)
            return failure(kSignInErrorDomain, static_cast<int>(SignInError::Refused),
                           "It is not known where “" + account.displayName +
                               "” signs in. Please sign in again in the "
                               "preferences, under Accounts.");
        std::unique_lock hold(lock);
        while (!isOver) {
            AccountState& state = accounts[account.identifier];
            if (const auto renewal = state.renewal) {
                changed.wait(hold, [&] { return renewal->result || isOver; });
                // What was asked for under another registration says nothing about this one.
                if (renewal->result && renewal->place == *account.signIn) return *renewal->result;
                continue;
            }
            const std::uint64_t ended = state.ended;
            const std::string refused = state.refused;
            const auto unkept = state.unkept;
            hold.unlock();
            const auto known = tokensOf(account, unkept);
            if (!known) return failed(known);
            if (known->tokens.access != refused && RunLoop::main().now() < known->tokens.expires - kSpare)
                return known->tokens.access;
            assertThat(!RunLoop::main().isMainThread(), "A renewal would wait for the thread that it runs on");
            hold.lock();
            // With what was read before another renewal ended, a refresh token would be used twice.
            if (!state.renewal && state.ended == ended) begin(account, *known);
        }
        return failure(kSignInErrorDomain, static_cast<int>(SignInError::NoAnswer), "The program is ending.");
    }

    void wasRefused(const AccountRecord& account, std::string_view token) {
        const std::lock_guard hold(lock);
        accounts[account.identifier].refused = token;
    }

private:
    // What could not be kept is tried again, and used unless somebody has signed in since.
    Result<Known> tokensOf(const AccountRecord& account, const std::optional<Unkept>& unkept) {
        const auto kept = account_secrets::tokensOf(account);
        if (!unkept) return kept ? Result<Known>(Known{*kept, kept->refresh}) : failed(kept);
        if (kept ? kept->refresh != unkept->instead : account_secrets::isNotSignedIn(kept.error())) {
            forgetUnkept(account, *unkept);
            return kept ? Result<Known>(Known{*kept, kept->refresh}) : failed(kept);
        }
        if (!kept) return Known{unkept->tokens, unkept->instead};
        const auto now = account_secrets::keepRenewed(account, unkept->instead, unkept->tokens);
        if (!now) return Known{unkept->tokens, unkept->instead};
        forgetUnkept(account, *unkept);
        return Known{*now, now->refresh};
    }

    void forgetUnkept(const AccountRecord& account, const Unkept& unkept) {
        const std::lock_guard hold(lock);
        auto& there = accounts[account.identifier].unkept;
        if (there && there->tokens.access == unkept.tokens.access) there.reset();
    }

    // With the lock held.
    void begin(const AccountRecord& account, const Known& known) {
        accounts[account.identifier].renewal = std::make_shared<Renewal>(Renewal{*account.signIn, {}});
        RunLoop::main().post([weak = weak_from_this(), account, known, time = RunLoop::main().holdTime()] {
            renewTokens(*account.signIn, known.tokens,
                        [weak, account, kept = known.kept, time](const Result<MailTokens>& renewed) {
                            // The keychain may take its time.
                            RunLoop::main().postToGlobalQueue([weak, account, kept, renewed, time] {
                                if (const auto self = weak.lock()) self->end(account, kept, renewed);
                            });
                        });
        });
    }

    void end(const AccountRecord& account, const std::string& kept, const Result<MailTokens>& renewed) {
        std::optional<Unkept> unkept;
        auto result = renewed ? keep(account, kept, *renewed, unkept)
                              : Result<std::string>(failure(endOfSignIn(account, renewed.error())));
        const std::lock_guard hold(lock);
        AccountState& state = accounts[account.identifier];
        if (renewed) state.unkept = std::move(unkept);
        ++state.ended;
        if (const auto renewal = std::exchange(state.renewal, nullptr)) renewal->result = std::move(result);
        changed.notify_all();
    }

    // Answers the access token to go on with, which is another one when somebody signed in meanwhile.
    static Result<std::string> keep(const AccountRecord& account, const std::string& kept, const MailTokens& renewed,
                                    std::optional<Unkept>& unkept) {
        const auto now = account_secrets::keepRenewed(account, kept, renewed);
        if (now) return now->access;
        if (account_secrets::isNotSignedIn(now.error())) return failed(now);
        logError("the renewed sign-in of " + account.identifier +
                 " is kept in memory only, until the keychain takes it: " + now.error().description);
        unkept = Unkept{renewed, kept};
        return renewed.access;
    }
};

AccountTokens::AccountTokens() : shared_(std::make_shared<Shared>()) {
    setAccessTokenSource(
        {.token = [shared = shared_](const AccountRecord& account) { return shared->token(account); },
         .wasRefused = [shared = shared_](const AccountRecord& account,
                                          std::string_view token) { shared->wasRefused(account, token); }});
}

AccountTokens::~AccountTokens() {
    setAccessTokenSource({});
    const std::lock_guard hold(shared_->lock);
    shared_->isOver = true;
    shared_->changed.notify_all();
}

}  // namespace qs
