// Accounts at an IMAP server that is told by a provider of the test's own which access tokens are good.
#include <atomic>
#include <future>

#include "Accounts/AccountSecrets.h"
#include "Http/HttpClient.h"
#include "Imap/SyncFixture.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Support/ScriptedWebServer.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

class SyncSignInTest : public SyncTest {
protected:
    static void SetUpTestSuite() {
        provider_ = std::make_unique<ScriptedWebServer>([](const WebRequest& request) { return answerTo(request); });
        server_ = std::make_unique<DovecotServer>(DovecotServer::Options{.tokenJudge = provider_->url("/who")});
    }
    static void TearDownTestSuite() {
        server_.reset();
        provider_.reset();
    }
    void SetUp() override {
        Platform platform;
        platform.http = HttpClient::make({});
        platform.keychain = Keychain::vault({.folder = folder_ / "Keychain", .key = {}, .files = nullptr});
        Platform::install(std::move(platform));
        const std::lock_guard hold(lock_);
        renewals_.clear();
        answer_ = {.body = R"({"access_token": "good", "refresh_token": "lasting", "expires_in": 3600})"};
        wait_ = {};
        SyncTest::SetUp();
    }
    void TearDown() override {
        SyncTest::TearDown();
        Platform::install({});
    }

    static WebAnswer answerTo(const WebRequest& request) {
        if (request.path == "/who")
            return {.body = request.header("Authorization") == "Bearer good" ? R"({"email": "ada"})"
                                                                             : R"({"email": "nobody"})"};
        std::shared_future<void> wait;
        WebAnswer answer;
        {
            const std::lock_guard hold(lock_);
            renewals_.push_back(request.form());
            wait = wait_;
            answer = answer_;
        }
        RunLoop::main().post([] {});  // who waits for a request looks again
        if (wait.valid()) wait.wait();
        return answer;
    }
    AccountRecord signedIn(const std::string& client = "the client") const {
        AccountRecord account = record();
        account.incoming->authentication = ServerAuthentication::XOAuth2;
        account.incoming->passwordCommand.clear();
        account.signIn = SignInPlace{.authorizePage = provider_->url("/authorize"),
                                     .tokenAddress = provider_->url("/token"),
                                     .scope = "mail",
                                     .clientIdentifier = client};
        return account;
    }
    void keepTokens(const std::string& access, TimeInterval life) {
        ASSERT_TRUE(account_secrets::keepTokens(
            "ada", {.access = access, .refresh = "lasting", .expires = loop_->now() + life, .clientSecret = ""}));
    }

    static inline std::unique_ptr<ScriptedWebServer> provider_;
    static inline std::mutex lock_;
    static inline std::vector<std::map<std::string, std::string>> renewals_;  // what was asked for
    static inline WebAnswer answer_;
    static inline std::shared_future<void> wait_;
};

TEST_F(SyncSignInTest, AnAccountCanBeSwitchedOffWhileItsTokenIsBeingRenewed) {
    std::promise<void> gate;
    wait_ = gate.get_future().share();
    keepTokens("good", 0);
    AccountRecord account = signedIn();
    keepAccount(account);
    engine_->sync().start();
    ASSERT_TRUE(loop_->runUntil([] {
        const std::lock_guard hold(lock_);
        return renewals_.size() == 1;
    }));
    account.isEnabled = false;
    ASSERT_TRUE(putAccount(*engine_, account));
    EXPECT_TRUE(engine_->sync().statuses().empty());
    bool hasLeft = false;
    engine_->sync().afterLeaving([&] { hasLeft = true; });
    EXPECT_FALSE(hasLeft) << "its mail must not go while somebody works on it";
    account.isEnabled = true;
    ASSERT_TRUE(putAccount(*engine_, account));
    gate.set_value();
    settle();
    EXPECT_TRUE(hasLeft);
    ASSERT_EQ(engine_->sync().statuses().size(), 1u) << "switched on again meanwhile";
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
}

TEST_F(SyncSignInTest, AnotherRegistrationIsTheOneThatIsRenewedUnder) {
    keepTokens("good", 3600);
    keepAccount(signedIn("withdrawn"));
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    keepTokens("good", 0);
    keepAccount(signedIn("the new client"));
    settle();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    const std::lock_guard hold(lock_);
    ASSERT_EQ(renewals_.size(), 1u);
    EXPECT_EQ(renewals_[0]["client_id"], "the new client");
}

TEST_F(SyncSignInTest, ATokenThatTheServerDoesNotTakeIsRenewedOnce) {
    deliver("one");
    keepTokens("withdrawn", 3600);
    keepAccount(signedIn());
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
    {
        const std::lock_guard hold(lock_);
        EXPECT_EQ(renewals_.size(), 1u);
        answer_ = {.body = R"({"access_token": "not good either", "expires_in": 3600})"};
    }
    keepTokens("withdrawn", 3600);
    restart();
    EXPECT_EQ(status().state, SyncStatus::State::Stopped);
    loop_->advance(3 * 3600);
    const std::lock_guard hold(lock_);
    EXPECT_EQ(renewals_.size(), 2u) << "a server that takes none is not asked for ever";
}

TEST_F(SyncSignInTest, ASignInThatIsOverWaitsForThePerson) {
    keepTokens("good", 0);
    answer_ = {.status = 400, .body = R"({"error": "invalid_grant"})"};
    keepAccount(signedIn());
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Stopped);
    EXPECT_THAT(status().text, HasSubstr("sign in again"));
    loop_->advance(3 * 3600);
    {
        const std::lock_guard hold(lock_);
        EXPECT_EQ(renewals_.size(), 1u) << "a refresh token that is dead is not shown about";
    }
    ASSERT_TRUE(account_secrets::forget("ada"));
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Stopped) << status().text;
    keepTokens("good", 3600);
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
}

}  // namespace
}  // namespace qs
