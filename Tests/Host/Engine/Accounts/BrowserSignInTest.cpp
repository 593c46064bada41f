// Signing in at a provider in the browser, and keeping the access tokens fresh, against a web server of the test's own.
#include "Accounts/BrowserSignIn.h"

#include <gmock/gmock.h>

#include <future>

#include "AccountRecord.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/AccountTokens.h"
#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Support/LogCapture.h"
#include "Support/RecordingWorkspace.h"
#include "Support/ScriptedWebServer.h"
#include "Support/TemporaryFolder.h"
#include "Text/ProofKey.h"
#include "Text/Url.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

class BrowserSignInTest : public ::testing::Test {
protected:
    void SetUp() override {
        Platform platform;
        platform.workspace = workspace_;
        platform.http = HttpClient::make({});
        platform.keychain = Keychain::vault({.folder = folder_ / "Keychain", .key = {}, .files = nullptr});
        Platform::install(std::move(platform));
        place_ = {.authorizePage = provider_.url("/authorize?brand=quill"),
                  .tokenAddress = provider_.url("/token"),
                  .scope = "mail offline",
                  .clientIdentifier = "the client"};
    }
    void TearDown() override { Platform::install({}); }

    // What the page was asked with.
    std::map<std::string, std::string> asked() {
        const std::string& page = workspace_->openedUrls.at(0);
        return queryFields(std::string_view(page).substr(page.find('?') + 1));
    }
    // As the browser does when the provider sends it back.
    int comeBack(const std::string& query) {
        std::optional<int> status;
        Platform::current().http->send({.url = asked()["redirect_uri"] + "/?" + query},
                                       [&](const auto& answer) { status = answer ? answer->status : 0; });
        loop_->runUntil([&] { return status.has_value(); });
        return status.value_or(-1);
    }
    void begin(const std::string& secret = {}) {
        auto started = BrowserSignIn::start(place_, secret, "ada@example.org",
                                            [this](Result<MailTokens> tokens) { result_ = std::move(tokens); });
        ASSERT_TRUE(started) << started.error().description;
        signIn_ = std::move(*started);
    }
    const Result<MailTokens>& outcome() {
        loop_->runUntil([&] { return result_.has_value(); });
        if (!result_) result_ = failure("test", 0, "nothing came back");
        return *result_;
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    TemporaryFolder folder_;
    std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
    WebAnswer answer_{.body = R"({"access_token": "fresh", "refresh_token": "lasting", "expires_in": "1800"})"};
    ScriptedWebServer provider_{[this](const WebRequest&) {
        loop_->post([] {});  // who waits for a request looks again
        return answer_;
    }};
    SignInPlace place_;
    std::unique_ptr<BrowserSignIn> signIn_;
    std::optional<Result<MailTokens>> result_;
};

TEST_F(BrowserSignInTest, OpensThePageAndRedeemsTheCodeThatItsAnswerBrings) {
    begin("a secret");
    EXPECT_THAT(workspace_->openedUrls.at(0), HasSubstr("/authorize?brand=quill&"));
    auto page = asked();
    EXPECT_THAT(page["redirect_uri"], ::testing::MatchesRegex("http://localhost:[0-9]+"));
    EXPECT_EQ(page["login_hint"], "ada@example.org");
    EXPECT_EQ(page["scope"], "mail offline");
    EXPECT_EQ(comeBack("code=stolen&state=guessed"), 404) << "only who knows the state is listened to";
    EXPECT_EQ(comeBack("code=one+code&state=" + page["state"]), 200);

    ASSERT_TRUE(outcome()) << outcome().error().description;
    EXPECT_EQ(outcome()->access, "fresh");
    EXPECT_EQ(outcome()->refresh, "lasting");
    EXPECT_EQ(outcome()->expires, loop_->now() + 1800);
    ASSERT_THAT(provider_.requests(), SizeIs(1));
    auto form = provider_.requests()[0].form();
    EXPECT_EQ(form["code"], "one code");
    EXPECT_EQ(form["redirect_uri"], page["redirect_uri"]);
    EXPECT_EQ(form["client_secret"], "a secret");
    EXPECT_EQ(codeChallenge(form["code_verifier"]), page["code_challenge"]);
}

TEST_F(BrowserSignInTest, SaysWhatTheProviderSaysAgainstIt) {
    struct Case {
        const char* query;
        WebAnswer answer;
        const char* told;
        SignInError error;
    };
    const Case cases[] = {
        {"error=access_denied&error_description=You+said+no", {}, "You said no", SignInError::Refused},
        {"code=1", {.status = 400, .body = R"({"error": "invalid_client"})"}, "invalid_client", SignInError::Refused},
        {"code=1", {.body = R"({"access_token": "short"})"}, "no lasting permission", SignInError::Refused},
        {"code=1", {.status = 502, .body = "<html>"}, "no answer that can be used", SignInError::NoAnswer},
        {"code=1", {.body = "{}"}, "did not accept", SignInError::Refused},
        {"code=1", {.hangsUp = true}, "", SignInError::NoAnswer}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.told);
        workspace_->openedUrls.clear();
        result_.reset();
        answer_ = each.answer;
        begin();
        comeBack(each.query + ("&state=" + asked()["state"]));
        ASSERT_FALSE(outcome());
        EXPECT_THAT(outcome().error().description, HasSubstr(each.told));
        EXPECT_EQ(outcome().error().code, static_cast<int>(each.error));
    }
}

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
        });
        return promise->get_future();
    }
    Result<std::string> token() {
        auto answer = ask();
        loop_->runUntilIdle();
        return answer.get();
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
    account_secrets::forget("ada");
    EXPECT_THAT(token().error().description, HasSubstr("“Ada” is not signed in"));
    EXPECT_FALSE(log_.contains("lasting"));
}

TEST_F(AccountTokensTest, LetNobodyWaitWhenTheProgramEnds) {
    loop_->advance(600);
    answer_ = {.stalls = true};
    auto answer = ask();
    loop_->runUntil([&] { return provider_.requests().size() == 1; });
    tokens_.reset();
    EXPECT_FALSE(answer.get());
}

}  // namespace
}  // namespace qs
