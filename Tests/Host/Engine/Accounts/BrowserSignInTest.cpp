// Signing in at a provider in the browser, against a web server of the test's own.
#include <gmock/gmock.h>

#include <fstream>

#include "Accounts/SignInFixture.h"
#include "Text/ProofKey.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

TEST_F(BrowserSignInTest, OpensThePageAndRedeemsTheCodeThatItsAnswerBrings) {
    begin("a secret");
    const std::string opened = workspace_->openedUrls.at(0);
    EXPECT_THAT(opened, ::testing::StartsWith("file://")) << "no command line shows where it leads";
    EXPECT_THAT(addressBehind(opened), HasSubstr("/authorize?brand=quill&"));
    EXPECT_EQ(std::filesystem::status(opened.substr(7)).permissions() & std::filesystem::perms(0077),
              std::filesystem::perms::none);
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
        {"code=1", {.status = 429, .body = R"({"error": "rate_limited"})"}, "(status 429)", SignInError::NoAnswer},
        {"code=1",
         {.status = 400, .body = R"({"error": "temporarily_unavailable"})"},
         "temporarily",
         SignInError::NoAnswer},
        {"error=server_error", {}, "server_error", SignInError::NoAnswer},
        {"code=1", {.hangsUp = true}, "connection", SignInError::NoAnswer}};
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

// Browsers go to either address of "localhost".
TEST_F(BrowserSignInTest, ListensOnBothLoopbackAddresses) {
    std::ifstream addresses("/proc/net/if_inet6");
    if (std::string first; !(addresses >> first)) GTEST_SKIP() << "this machine has IPv4 alone";
    begin();
    auto page = asked();
    const std::string port = page["redirect_uri"].substr(page["redirect_uri"].rfind(':') + 1);
    std::optional<int> status;
    Platform::current().http->send({.url = "http://[::1]:" + port + "/?code=one&state=" + page["state"],
                                    .headers = {{"Host", "localhost:" + port}}},
                                   [&](const auto& answer) { status = answer ? answer->status : 0; });
    ASSERT_TRUE(outcome()) << outcome().error().description;
    EXPECT_EQ(status, 200);
    const std::string file = workspace_->openedUrls.at(0).substr(7);
    EXPECT_TRUE(std::filesystem::exists(file));
    signIn_.reset();
    EXPECT_FALSE(std::filesystem::exists(file)) << "nothing of it is left";
}

TEST_F(BrowserSignInTest, IsNotWaitedForWithoutEnd) {
    begin();
    loop_->advance(14 * 60);
    EXPECT_FALSE(result_);
    loop_->advance(2 * 60);
    ASSERT_TRUE(result_);
    EXPECT_THAT(result_->error().description, HasSubstr("not completed in time"));
    EXPECT_EQ(comeBack("code=1&state=" + asked()["state"]), 0) << "nobody listens any more";
}

}  // namespace
}  // namespace qs
