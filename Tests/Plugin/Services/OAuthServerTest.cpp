// AFOAuth2Manager against a provider that others wrote.
#include "External/AFOAuth2Manager/AFOAuth2Manager.h"
#include "Http/HttpClient.h"
#include "PluginTest.h"
#include "Process/CompanionProcess.h"
#include "Text/Base64.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::Optional;

class OAuthServerTest : public PluginTest {
protected:
    void SetUp() override {
        auto started = CompanionProcess::start(QS_NODE, {QS_OAUTH2_SERVER, QS_PAGE_DIR});
        ASSERT_TRUE(started) << started.error().description;
        server_ = std::move(*started);
        const auto port = server_->readLine(60);
        ASSERT_TRUE(port) << port.error().description;
        address_ = "http://127.0.0.1:" + *port;
        preparePlatform_ = [](Platform& platform) {
            platform.http = HttpClient::make({.userAgent = "Test", .certificates = {}});
        };
        startHost();
    }
    AFOAuth2Manager manager() { return AFOAuth2Manager::managerWithBaseURL(address_, "id", "secret"); }
    // What the provider says to one of the requests.
    template <class Ask>
    std::optional<AFOAuthCredential> credentialOf(Ask ask) {
        std::optional<AFOAuthCredential> got;
        error_.reset();
        ask([&](const AFOAuthCredential& credential) { got = credential; },
            [&](const std::optional<Error>& error) { error_ = error; });
        host_->settle();
        return got;
    }
    // Of a token of three parts (RFC 7519).
    static std::string claimsOf(const AFOAuthCredential& credential) {
        const std::string token = credential.accessToken().value_or("");
        const auto start = token.find('.') + 1;
        std::string middle = token.substr(start, token.find('.', start) - start);
        for (char& c : middle)
            c = c == '-' ? '+' : c == '_' ? '/' : c;
        middle.append((4 - middle.size() % 4) % 4, '=');
        return dataFromBase64String(middle).value_or("");
    }

    std::unique_ptr<CompanionProcess> server_;
    std::string address_;
    std::optional<Error> error_;
};

TEST_F(OAuthServerTest, GivesATokenForEveryGrant) {
    auto asker = manager();
    const auto byPassword = credentialOf([&](auto success, auto failure) {
        asker.authenticateUsingOAuthWithPassword("/token", "ada", "s3cret", "mail files", success, failure);
    });
    ASSERT_TRUE(byPassword);
    EXPECT_THAT(claimsOf(*byPassword), HasSubstr(R"("sub":"ada")"));
    EXPECT_THAT(claimsOf(*byPassword), HasSubstr(R"("scope":"mail files")"));
    EXPECT_THAT(byPassword->tokenType(), Optional(std::string("Bearer")));
    EXPECT_TRUE(byPassword->refreshToken());
    EXPECT_THAT(byPassword->expiration(), Optional(RunLoop::main().now() + 3600));
    EXPECT_FALSE(byPassword->isExpired());

    asker.setUseHTTPBasicAuthentication(false);
    const auto byCode = credentialOf([&](auto success, auto failure) {
        asker.authenticateUsingOAuthWithCode("/token", "c0de", "quillstead://box-redirect", success, failure);
    });
    ASSERT_TRUE(byCode);
    EXPECT_THAT(claimsOf(*byCode), HasSubstr(R"("sub":"johndoe")"));
    const auto byClient = credentialOf([&](auto success, auto failure) {
        asker.authenticateUsingOAuthWithScope("/token", std::nullopt, success, failure);
    });
    ASSERT_TRUE(byClient);
    EXPECT_EQ(byClient->refreshToken(), std::nullopt);
}

TEST_F(OAuthServerTest, RefreshesAndKeepsWhatIsNotReplaced) {
    auto asker = manager();
    const auto refreshed = [&](const char* token) {
        return credentialOf([&](auto success, auto failure) {
            asker.authenticateUsingOAuthWithRefreshToken("/token", token, success, failure);
        });
    };
    const auto replaced = refreshed("old");
    ASSERT_TRUE(replaced && replaced->refreshToken());
    EXPECT_NE(*replaced->refreshToken(), "old");
    const auto kept = refreshed("kept");
    ASSERT_TRUE(kept);
    EXPECT_THAT(kept->refreshToken(), Optional(std::string("kept")));

    AFHTTPSessionManager user(address_);
    user.requestSerializer().setAuthorizationHeaderFieldWithCredential(*kept);
    std::string told;
    user.GET(
        "/userinfo", {}, [&](const Value& answer, const HttpResponse&) { told = answer["sub"].stringValue(); },
        nullptr);
    host_->settle();
    EXPECT_EQ(told, "johndoe");
}

TEST_F(OAuthServerTest, TellsOfARefusal) {
    auto asker = manager();
    const auto none = credentialOf([&](auto success, auto failure) {
        asker.authenticateUsingOAuthWithPassword("/token", "ada", "wrong", std::nullopt, success, failure);
    });
    EXPECT_FALSE(none) << "a refused request is a failure and no more";
    ASSERT_TRUE(error_);
    const auto body = error_->userInfo.find(AFNetworkingOperationFailingURLResponseDataErrorKey);
    ASSERT_NE(body, error_->userInfo.end());
    EXPECT_THAT(body->second.dataValue().bytes, HasSubstr("invalid_grant"));
}

TEST_F(OAuthServerTest, AManagerTakesASessionsConfiguration) {
    const auto made = AFOAuth2Manager::managerWithBaseURL(
        "https://id.example.org:8443/oauth",
        {.timeoutIntervalForRequest = 7, .HTTPAdditionalHeaders = {{"X-Device", "1"}, {"Accept", "text/plain"}}}, "id",
        "");
    auto copy = made;
    EXPECT_EQ(made.serviceProviderIdentifier(), "id.example.org");
    EXPECT_TRUE(made.useHTTPBasicAuthentication());
    EXPECT_EQ(made.timeoutInterval, 7);
    EXPECT_THAT(copy.requestSerializer().valueForHTTPHeaderField("X-Device"), Optional(std::string("1")));
    EXPECT_THAT(copy.requestSerializer().valueForHTTPHeaderField("Accept"), Optional(std::string("application/json")));
    EXPECT_EQ(AFOAuth2Manager("https://id.example.org", "id", "").timeoutInterval, 60);
}

}  // namespace
}  // namespace qs
