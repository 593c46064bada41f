// Keeping the access tokens of accounts fresh, against a provider of the test's own.
#include "Accounts/AccountTokens.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "AccountRecord.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/SignInFixture.h"
#include "Foundation/Log.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

class AccountTokensTest : public BrowserSignInTest {
protected:
    void SetUp() override {
        BrowserSignInTest::SetUp();
        account_.incoming =
            IncomingServer{.host = "imap.example.org", .user = "ada", .authentication = ServerAuthentication::XOAuth2};
        account_.signIn = place_;
        keep({.access = "first", .refresh = "lasting", .expires = loop_->now() + 600, .clientSecret = ""});
    }
    void keep(const MailTokens& tokens) { ASSERT_TRUE(account_secrets::keepTokens("ada", tokens)); }
    std::future<Result<std::string>> ask() {
        auto promise = std::make_shared<std::promise<Result<std::string>>>();
        loop_->postToGlobalQueue([promise, account = account_] {
            promise->set_value(account_secrets::secretFor(account, ServerSide::Incoming));
            RunLoop::main().post([] {});  // who waits for it looks again
        });
        return promise->get_future();
    }
    Result<std::string> token() {
        auto answer = ask();
        loop_->runUntilIdle();
        return answer.get();
    }

    // Stands still until it is let go on.
    struct Gate {
        std::promise<void> open;
        std::shared_future<void> isOpen = open.get_future().share();
    };
    std::string kept() {
        const auto tokens = account_secrets::tokensOf(account_);
        return tokens ? tokens->refresh : tokens.error().description;
    }

    AccountRecord account_{.identifier = "ada", .displayName = "Ada", .kind = AccountKind::Imap};
    std::unique_ptr<AccountTokens> tokens_ = std::make_unique<AccountTokens>();
};

TEST_F(AccountTokensTest, AreGivenOutWhileTheyHoldAndThenRenewedOnce) {
    EXPECT_EQ(token(), "first");
    EXPECT_THAT(provider_.requests(), SizeIs(0));
    loop_->advance(560);
    answer_ = {.body = R"({"access_token": "second"})"};
    auto one = ask(), two = ask();
    loop_->runUntilIdle();
    EXPECT_EQ(one.get(), "second");
    EXPECT_EQ(two.get(), "second");
    ASSERT_THAT(provider_.requests(), SizeIs(1)) << "a refresh token may be good for one use";
    EXPECT_EQ(provider_.requests()[0].form()["refresh_token"], "lasting");
    EXPECT_EQ(account_secrets::tokensOf(account_)->refresh, "lasting") << "none came, so the old one stays";
    loop_->advance(3500);
    EXPECT_EQ(token(), "second") << "without a word about its life it is taken to live for an hour";
    loop_->advance(100);
    answer_ = {.body = R"({"access_token": "third", "refresh_token": "another", "expires_in": 60})"};
    EXPECT_EQ(token(), "third");
    EXPECT_EQ(account_secrets::tokensOf(account_)->refresh, "another");
}

TEST_F(AccountTokensTest, TellWhetherSigningInAgainWouldHelp) {
    loop_->advance(600);
    answer_ = {.status = 503, .body = "busy"};
    EXPECT_THAT(token().error().description, ::testing::Not(HasSubstr("sign in again")));
    answer_ = {.status = 400,
               .body = R"({"error": "invalid_grant", "error_description": "It was revoked.\r\nTrace: 1"})"};
    EXPECT_THAT(token().error().description, HasSubstr("It was revoked. Please sign in again in the preferences"));
    ASSERT_TRUE(account_secrets::forget("ada"));
    EXPECT_THAT(token().error().description, HasSubstr("“Ada” is not signed in"));
    logInfo("the sign-in that was lasting");
    EXPECT_FALSE(log_.contains("lasting")) << "what was read is masked from then on";
}

TEST_F(AccountTokensTest, LetNobodyWaitWhenTheProgramEnds) {
    loop_->advance(600);
    answer_ = {.stalls = true};
    auto answer = ask();
    loop_->runUntil([&] { return provider_.requests().size() == 1; });
    tokens_.reset();
    EXPECT_FALSE(answer.get());
}

TEST_F(AccountTokensTest, AreHeldInMemoryWhileTheKeychainDoesNotTakeThem) {
    loop_->advance(600);
    keychain_->willWrite = [](const auto&) { return HookedKeychain::refusal(KeychainError::Failed); };
    answer_ = {.body = R"({"access_token": "second", "refresh_token": "another", "expires_in": 1800})"};
    EXPECT_EQ(token(), "second");
    EXPECT_EQ(token(), "second");
    EXPECT_THAT(provider_.requests(), SizeIs(1)) << "what could not be kept is not thrown away";
    loop_->advance(1800);
    answer_ = {.body = R"({"access_token": "third", "refresh_token": "the newest", "expires_in": 1800})"};
    EXPECT_EQ(token(), "third");
    EXPECT_EQ(provider_.requests().at(1).form()["refresh_token"], "another")
        << "the first one is worth nothing any more";
    EXPECT_EQ(kept(), "lasting");
    keychain_->willWrite = nullptr;
    EXPECT_EQ(token(), "third");
    EXPECT_EQ(kept(), "the newest");

    keychain_->willWrite = [](const auto&) { return HookedKeychain::refusal(KeychainError::Failed); };
    loop_->advance(1800);
    EXPECT_EQ(token(), "third");
    keychain_->willWrite = nullptr;
    keep({.access = "of another sign-in", .refresh = "its own", .expires = loop_->now() + 600, .clientSecret = ""});
    EXPECT_EQ(token(), "of another sign-in");
    EXPECT_EQ(kept(), "its own");
}

TEST_F(AccountTokensTest, ARenewalThatEndsLateGivesWayToWhatHappenedMeanwhile) {
    struct Case {
        const char* why;
        bool signsInAnew;
        const char *token, *kept;
    };
    for (const Case& each :
         {Case{"another sign-in", true, "newer", "its own"}, Case{"the account went", false, "", ""}}) {
        SCOPED_TRACE(each.why);
        keep({.access = "first", .refresh = "lasting", .expires = loop_->now(), .clientSecret = ""});
        const auto before = provider_.requests().size();
        Gate gate;
        wait_ = gate.isOpen;
        auto answer = ask();
        loop_->runUntil([&] { return provider_.requests().size() > before; });
        if (each.signsInAnew)
            keep({.access = "newer", .refresh = "its own", .expires = loop_->now() + 600, .clientSecret = ""});
        else
            ASSERT_TRUE(account_secrets::forget("ada"));
        gate.open.set_value();
        loop_->runUntilIdle();
        EXPECT_EQ(answer.get().value_or(""), each.token);
        EXPECT_THAT(kept(), HasSubstr(each.signsInAnew ? each.kept : "is not signed in"));
    }
}

TEST_F(AccountTokensTest, ARefreshTokenIsNotUsedAgainByWhoReadItBefore) {
    loop_->advance(600);
    Gate gate;
    std::atomic<int> reads = 0;
    keychain_->hasRead = [&](const auto&) -> Result<void> {
        if (++reads != 1) return {};
        loop_->post([] {});
        gate.isOpen.wait();
        return {};
    };
    auto slow = ask();
    loop_->runUntil([&] { return reads == 1; });
    answer_ = {.body = R"({"access_token": "second", "refresh_token": "another"})"};
    auto quick = ask();
    loop_->runUntil([&] { return quick.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    gate.open.set_value();
    loop_->runUntilIdle();
    EXPECT_EQ(quick.get(), "second");
    EXPECT_EQ(slow.get(), "second");
    EXPECT_THAT(provider_.requests(), SizeIs(1));
}

TEST_F(AccountTokensTest, OneThatAServerDidNotTakeIsRenewedBeforeItsTime) {
    EXPECT_EQ(token(), "first");
    account_secrets::tokenWasRefused(account_, "first");
    answer_ = {.body = R"({"access_token": "second"})"};
    EXPECT_EQ(token(), "second");
    EXPECT_EQ(token(), "second");
    account_secrets::tokenWasRefused(account_, "first");
    EXPECT_EQ(token(), "second") << "that was another one";
    EXPECT_THAT(provider_.requests(), SizeIs(1));
}

TEST_F(AccountTokensTest, ARefusalUnderAnotherRegistrationIsNotTakenForAnAnswer) {
    loop_->advance(600);
    Gate gate;
    wait_ = gate.isOpen;
    answer_ = {.status = 400, .body = R"({"error": "invalid_client"})"};
    auto old = ask();
    loop_->runUntil([&] { return provider_.requests().size() == 1; });
    account_.signIn->clientIdentifier = "the new client";
    auto fresh = ask();
    gate.open.set_value();
    loop_->runUntil([&] { return old.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    EXPECT_FALSE(old.get());
    loop_->runUntilIdle();
    EXPECT_FALSE(fresh.get());
    EXPECT_EQ(provider_.requests().at(1).form()["client_id"], "the new client");
}

}  // namespace
}  // namespace qs
