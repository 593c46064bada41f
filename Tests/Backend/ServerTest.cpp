#include <gmock/gmock.h>

#include <cerrno>

#include "BackendFixture.h"
#include "Foundation/FileSystem.h"
#include "Store/SqlConnection.h"
#include "Support/RecordingSmtpServer.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class BackendHttp : public BackendFixture {};

TEST_F(BackendHttp, RefusesWhatItDoesNotKnow) {
    start();
    struct Case {
        const char* method;
        const char* path;
        int status;
    };
    for (const Case& c : {Case{"GET", "/nothing", 404}, Case{"GET", "/api/v1/nothing", 404},
                          Case{"GET", "/metrics", 404}, Case{"DELETE", "/api/v1/profile", 405},
                          Case{"GET", "/api/v1/addUser", 405}, Case{"GET", "/api/v1/profile/", 404},
                          Case{"GET", "/%2e%2e/style.css", 404}, Case{"GET", "/style.css", 200}, Case{"GET", "/", 200}})
        EXPECT_EQ(ask({.method = c.method, .path = c.path}).status, c.status) << c.method << " " << c.path;
    EXPECT_EQ(ask({.method = "PUT", .path = "/api/v1/tracking"}).headers["allow"], "POST, GET");
    EXPECT_EQ(post("/api/v1/addUser", std::string(17'000, 'x')).status, 413);
    EXPECT_EQ(ask({.path = "/", .headers = {{"X-Long", std::string(20'000, 'x')}}}).status, 0);
    EXPECT_EQ(ask({.path = "/",
                   .headers = {{"Upgrade", "websocket"},
                               {"Connection", "Upgrade"},
                               {"Sec-WebSocket-Version", "13"},
                               {"Sec-WebSocket-Key", "AAAAAAAAAAAAAAAAAAAAAA=="}}})
                  .status,
              400);
}

TEST_F(BackendHttp, SendsNoPageElsewhere) {
    start();
    for (const char* path : {"/", "/terms", "/password/email", "/password/email?next=//evil.example", "//evil.example/",
                             "/confirm?token=x&url=https://evil.example"}) {
        const Reply reply = get(path);
        EXPECT_FALSE(reply.headers.contains("location")) << path;
        EXPECT_THAT(reply.body, Not(HasSubstr("evil.example"))) << path;
    }
    const Reply page = get("/password/email");
    EXPECT_THAT(page.headers.at("content-security-policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(page.headers.at("referrer-policy"), "no-referrer");
    EXPECT_THAT(get("/style.css").body, HasSubstr("prefers-color-scheme: dark"));
}

TEST_F(BackendHttp, KnowsItsPlugInByTheClientKey) {
    configuration_.clientKey = "0123456789abcdef0123456789abcdef";
    start();
    for (const char* key : {"", "0123456789abcdef0123456789abcdee", "0123456789abcdef"})
        EXPECT_EQ(ask({.path = "/api/v1/profile", .headers = {{"X-Authorization", key}}}).status, 403)
            << "401 would sign the user out: " << key;
    EXPECT_EQ(ask({.path = "/api/v1/profile", .headers = {{"X-Authorization", configuration_.clientKey}}}).status, 401);
    EXPECT_EQ(get("/tracking/0A1B2C3D-0000-4000-8000-00000000000A").status, 200) << "readers' programs know no key";
}

TEST_F(BackendHttp, TellsItsFiguresOnTheLoopbackInterfaceOnly) {
    start();
    // A port that was free a moment ago.
    configuration_.metricsPort = server_->port();
    configuration_.databaseFile = folder_ / "other.sqlite";
    stop();
    start();
    ASSERT_NE(server_->metricsPort(), 0);
    get("/tracking/0A1B2C3D-0000-4000-8000-00000000000A");
    loop_->advance(1);
    const Reply metrics = ask({.path = "/metrics", .port = server_->metricsPort()});
    EXPECT_THAT(metrics.body, HasSubstr("# TYPE quillstead_requests_total counter\n"));
    EXPECT_THAT(metrics.body, HasSubstr("quillstead_requests_total{route=\"pixel\",status=\"200\"} 1\n"));
    EXPECT_THAT(metrics.body, HasSubstr("quillstead_opens_total{outcome=\"early\"} 1\n"));
    EXPECT_THAT(metrics.body, Not(HasSubstr("0A1B2C3D")));
    EXPECT_EQ(ask({.path = "/", .port = server_->metricsPort()}).status, 404);
}

TEST_F(BackendHttp, KeepsToItsNumberOfConnections) {
    configuration_.mostConnections = 0;
    start();
    EXPECT_EQ(get("/").status, 0);
    configuration_.mostConnections = 1;
    configuration_.databaseFile = folder_ / "other.sqlite";
    stop();
    start();
    EXPECT_EQ(get("/").status, 200);
}

TEST_F(BackendHttp, BlamesItselfForItsFaults) {
    start();
    const Person ada{.email = "ada@example.org"};
    makeAccount(ada);
    {
        const auto other = SqlConnection::openSqlite(configuration_.databaseFile);
        other->run("ALTER TABLE accounts RENAME TO elsewhere");
    }
    const Reply reply = getAs(ada, "/api/v1/profile");
    EXPECT_EQ(reply.status, 503) << "401 would sign the user out";
    EXPECT_THAT(reply.json()["error"].stringValue(), HasSubstr("later"));
    EXPECT_TRUE(log_.contains("database"));
}

TEST_F(BackendHttp, OffersTheTemplatesOfItsFolder) {
    folder_.write("templates/two-columns.mustache", "<div id=\"QuillsteadSignature\">{{name}}</div>");
    folder_.write("templates/notes.txt", "no template");
    configuration_.templateFolder = folder_ / "templates";
    start();
    const Person ada{.email = "ada@example.org"};
    makeAccount(ada);
    const Array templates = getAs(ada, "/api/v1/profile").json()["allSignatureTemplates"].array();
    ASSERT_THAT(templates, SizeIs(1));
    EXPECT_EQ(templates[0]["id"].stringValue(), "two-columns");
    EXPECT_EQ(templates[0]["name"].stringValue(), "Two columns");
    EXPECT_THAT(templates[0]["source"].stringValue(), HasSubstr("{{name}}"));
}

TEST_F(BackendHttp, SaysWhyItCannotStart) {
    start();
    auto taken = configuration_;
    taken.port = server_->port();
    taken.databaseFile = folder_ / "other.sqlite";
    const auto second = BackendServer::start(taken, FileSystem::real(), {});
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().code, EADDRINUSE);
    auto broken = configuration_;
    broken.databaseFile = folder_.write("broken.sqlite", "this is no database, but it is long enough to be looked at");
    EXPECT_THAT(BackendServer::start(broken, FileSystem::real(), {}).error().description, HasSubstr("database"));
    auto places = configuration_;
    places.placeDatabase = folder_ / "missing.mmdb";
    EXPECT_FALSE(BackendServer::start(places, FileSystem::real(), {}));
}

TEST_F(BackendHttp, SendsLettersByAMailServerAndTriesAgain) {
    RecordingSmtpServer mail;
    mail.add({.stage = SmtpStage::FinalDot, .reply = "451 4.3.0 later", .times = 1});
    configuration_.smtp.host = "127.0.0.1";
    configuration_.smtp.port = mail.port();
    configuration_.smtp.security = TransportSecurity::None;
    configuration_.baseUrl = "https://backend.example.org";
    start();
    EXPECT_EQ(post("/api/v1/addUser", "email=ada@example.org&password=secret1").status, 200);
    loop_->runUntilIdle();
    EXPECT_THAT(mail.received(), IsEmpty());
    loop_->advance(200);
    ASSERT_THAT(mail.received(), SizeIs(1));
    const ReceivedMail letter = mail.received()[0];
    EXPECT_THAT(letter.to, ::testing::ElementsAre(HasSubstr("ada@example.org")));
    EXPECT_THAT(letter.content, HasSubstr("Subject: Please confirm your address for Quillstead\r\n"));
    EXPECT_THAT(letter.content, HasSubstr("Date: Tue, 14 Nov 2023 22:1"));
    EXPECT_THAT(letter.content, HasSubstr("\r\nhttps://backend.example.org/confirm?token="));
    EXPECT_THAT(mail.violations(), IsEmpty());
    jump(86'400);
    EXPECT_THAT(mail.received(), SizeIs(1));
    EXPECT_EQ(get(linkIn(letter.content, "/confirm")).status, 200);
}

}  // namespace
}  // namespace qs
