// Against a web server on the loopback interface that records and misbehaves.
#include "Http/HttpClient.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>

#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "Http/PublicAddress.h"
#include "Support/ScriptedWebServer.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::SizeIs;

class Http : public ::testing::Test {
protected:
    ~Http() override { client_.reset(); }

    Result<HttpResponse> send(HttpRequest request) {
        std::optional<Result<HttpResponse>> answer;
        auto task = client_->send(std::move(request), [&](Result<HttpResponse> came) {
            EXPECT_TRUE(loop_->isMainThread());
            EXPECT_FALSE(answer) << "twice";
            answer = std::move(came);
        });
        EXPECT_FALSE(answer) << "never before send() returned";
        EXPECT_TRUE(loop_->runUntil([&] { return answer.has_value(); }));
        return answer.value_or(failure("Test", 0, "no answer"));
    }
    std::optional<HttpError> errorOf(HttpRequest request) {
        const auto answer = send(std::move(request));
        if (answer || answer.error().domain != kHttpErrorDomain) return std::nullopt;
        return static_cast<HttpError>(answer.error().code);
    }
    void restart(HttpClient::Options options) { client_ = HttpClient::make(std::move(options)); }

    TemporaryFolder folder_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    std::shared_ptr<HttpClient> client_ = HttpClient::make({.userAgent = "Test/1", .certificates = {}});
};

TEST_F(Http, ARequestArrivesAsItWasMadeAndTheAnswerComesBackWhole) {
    ScriptedWebServer server([](const WebRequest& request) -> WebAnswer {
        return {.status = request.path == "/missing" ? 404 : 200,
                .headers = {{"X-Answer", "yes"}, {"Set-Cookie", "a"}, {"Set-Cookie", "b"}},
                .body = request.body + "!"};
    });
    const auto posted = send({.method = "PATCH",
                              .url = server.url("/a%20b?q=1#part"),
                              .headers = {{"Content-Type", "application/json"}, {"Accept", "*/*"}},
                              .body = std::string("{\0}", 3)});
    ASSERT_TRUE(posted) << posted.error().description;
    EXPECT_EQ(posted->body, std::string("{\0}!", 4));
    EXPECT_EQ(posted->header("x-answer"), "yes");
    EXPECT_EQ(posted->header("X-Other"), std::nullopt);
    const auto missing = send({.url = server.url("/missing"), .headers = {{"Accept", ""}}});
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->status, 404) << "an answer all the same";
    EXPECT_FALSE(missing->isSuccess());
    const auto empty = send({.method = "POST", .url = server.url("/empty")});
    ASSERT_TRUE(empty);

    const auto requests = server.requests();
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[0].method + " " + requests[0].path + " " + requests[0].query, "PATCH /a%20b q=1");
    EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
    EXPECT_EQ(requests[0].header("User-Agent"), "Test/1");
    EXPECT_EQ(requests[0].body, std::string("{\0}", 3));
    EXPECT_FALSE(requests[0].has("Expect"));
    EXPECT_EQ(requests[1].method, "GET");
    EXPECT_FALSE(requests[1].has("Accept"));
    EXPECT_EQ(requests[2].method, "POST");
    EXPECT_EQ(requests[2].header("Content-Length"), "0");
    EXPECT_EQ(server.connections(), 1) << "kept open";
}

TEST_F(Http, FilesGoAndComeWithoutBeingHeld) {
    std::string big(3'000'000, 'x');
    big[1'234'567] = 'y';
    ScriptedWebServer server([](const WebRequest& request) -> WebAnswer {
        return {.status = request.path == "/refused" ? 500 : 200, .body = request.body};
    });
    const auto file = folder_.write("big", big);
    std::uint64_t sent = 0;
    const auto answer = send({.method = "PUT",
                              .url = server.url("/file"),
                              .bodyFile = file,
                              .saveAnswer = folder_ / "back",
                              .uploadProgress = [&](std::uint64_t now, std::uint64_t total) {
                                  EXPECT_TRUE(loop_->isMainThread());
                                  EXPECT_GE(now, sent);
                                  EXPECT_EQ(total, big.size());
                                  sent = now;
                              }});
    ASSERT_TRUE(answer) << answer.error().description;
    EXPECT_EQ(answer->body, "");
    EXPECT_EQ(FileSystem::real().read(folder_ / "back").value(), big);
    EXPECT_EQ(sent, big.size());
    ASSERT_TRUE(send({.method = "PUT", .url = server.url("/refused"), .body = "why", .saveAnswer = folder_ / "none"}));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "none")) << "what a server says instead is no file";
    EXPECT_EQ(errorOf({.method = "PUT", .url = server.url("/"), .bodyFile = folder_ / "missing"}),
              HttpError::CannotOpenFile);
    EXPECT_EQ(errorOf({.url = server.url("/file"), .saveAnswer = folder_ / "no/such/folder"}),
              HttpError::CannotOpenFile);
}

TEST_F(Http, ABodyArrivesInPiecesWhereThatIsAskedFor) {
    const std::string big(500'000, 'x');
    ScriptedWebServer server([&](const WebRequest& request) -> WebAnswer {
        if (request.path == "/moved") return {.status = 302, .headers = {{"Location", "/big"}}, .body = "elsewhere"};
        if (request.path == "/refused") return {.status = 500, .body = "why"};
        return {.body = big, .hangsUpAfter = request.path == "/cut" ? 300'000u : 0u};
    });
    std::string came;
    int pieces = 0;
    const auto arrives = [&](int status, std::string_view piece) {
        EXPECT_TRUE(loop_->isMainThread());
        EXPECT_EQ(status, 200);
        ++pieces;
        came += piece;
    };
    const auto answer = send({.url = server.url("/moved"), .bodyArrives = arrives});
    ASSERT_TRUE(answer) << answer.error().description;
    EXPECT_EQ(answer->body, "");
    EXPECT_EQ(came, big);
    EXPECT_GT(pieces, 1);
    came.clear();
    EXPECT_EQ(errorOf({.url = server.url("/cut"), .bodyArrives = arrives}), HttpError::ConnectionLost);
    EXPECT_EQ(came, big.substr(0, 300'000)) << "what came before the cut";
    const auto refused = send({.url = server.url("/refused"), .bodyArrives = arrives});
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->body, "why") << "what a server says instead is an answer";
}

TEST_F(Http, CredentialsNeverFollowToAnotherHostOrToPlainText) {
    ScriptedWebServer other([](const WebRequest&) -> WebAnswer { return {.body = "other"}; });
    ScriptedWebServer server([&](const WebRequest& request) -> WebAnswer {
        if (request.path == "/away") return {.status = 302, .headers = {{"Location", other.url("/taken")}}};
        if (request.path == "/see") return {.status = 303, .headers = {{"Location", "/here?x=1"}}};
        if (request.path == "/keep") return {.status = 307, .headers = {{"Location", "/here"}}};
        if (request.path == "/round") return {.status = 302, .headers = {{"Location", "/round"}}};
        if (request.path == "/file") return {.status = 302, .headers = {{"Location", "file:///etc/passwd"}}};
        return {.body = request.method};
    });
    const auto with = [&](const char* path) {
        return HttpRequest{.method = "POST",
                           .url = server.url(path),
                           .headers = {{"X-Authorization", "build"}, {"Cookie", "c"}, {"X-Else", "1"}},
                           .body = "content",
                           .login = HttpLogin{HttpLogin::Kind::Basic, "ada", "secret"}};
    };
    const auto away = send(with("/away"));
    ASSERT_TRUE(away);
    EXPECT_EQ(away->finalUrl, other.url("/taken"));
    ASSERT_THAT(other.requests(), SizeIs(1));
    const WebRequest taken = other.requests()[0];
    for (const char* name : {"Authorization", "X-Authorization", "Cookie"})
        EXPECT_FALSE(taken.has(name)) << name;
    EXPECT_EQ(taken.header("X-Else"), "1");
    EXPECT_EQ(taken.method + taken.body, "GET");

    EXPECT_EQ(send(with("/see"))->body, "GET");
    EXPECT_EQ(send(with("/keep"))->body, "POST");
    const WebRequest kept = server.requests().back();
    EXPECT_EQ(kept.body, "content");
    EXPECT_EQ(kept.header("Authorization"), "Basic YWRhOnNlY3JldA==");
    EXPECT_EQ(kept.header("X-Authorization"), "build");

    EXPECT_EQ(errorOf(with("/round")), HttpError::TooManyRedirects);
    EXPECT_EQ(errorOf(with("/file")), HttpError::BadUrl);
    EXPECT_EQ(send({.url = server.url("/away"), .mostRedirects = 0})->status, 302);
}

TEST_F(Http, ADigestLoginShowsNoPassword) {
    ScriptedWebServer server([](const WebRequest& request) -> WebAnswer {
        if (request.header("Authorization").starts_with("Digest username=\"ada\"")) return {.body = "in"};
        return {.status = 401, .headers = {{"WWW-Authenticate", R"(Digest realm="r", nonce="n", qop="auth")"}}};
    });
    const auto answer = send({.url = server.url("/"), .login = HttpLogin{HttpLogin::Kind::Digest, "ada", "swordfish"}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body, "in");
    for (const WebRequest& request : server.requests())
        EXPECT_EQ(request.header("Authorization").find("swordfish"), std::string::npos);
}

TEST_F(Http, WhatGoesWrongIsNamed) {
    ScriptedWebServer server([](const WebRequest& request) -> WebAnswer {
        if (request.path == "/cut") return {.body = "0123456789", .hangsUpAfter = 5};
        if (request.path == "/gone") return {.hangsUp = true};
        if (request.path == "/stall") return {.stalls = true};
        WebHeaders headers;
        if (request.path == "/header") headers.assign(4, {"X-Long", std::string(90'000, 'h')});
        return {.headers = headers, .body = std::string(5000, 'b')};
    });
    int unused = 0;
    {
        const ScriptedWebServer gone([](const WebRequest&) { return WebAnswer{}; });
        unused = gone.port();
    }
    struct Case {
        HttpRequest request;
        HttpError error;
    };
    for (const Case& c :
         {Case{{.url = "no address"}, HttpError::BadUrl}, Case{{.url = "ftp://127.0.0.1/"}, HttpError::BadUrl},
          Case{{.url = server.url("/"), .headers = {{"A", "b\r\nC: d"}}}, HttpError::BadUrl},
          Case{{.url = server.url("/"), .headers = {{"A: b", "c"}}}, HttpError::BadUrl},
          Case{{.url = "http://127.0.0.1:" + std::to_string(unused)}, HttpError::CannotConnect},
          Case{{.url = "http://nobody.invalid/"}, HttpError::CannotFindHost},
          Case{{.url = server.url("/cut")}, HttpError::ConnectionLost},
          Case{{.url = server.url("/gone")}, HttpError::ConnectionLost},
          Case{{.url = server.url("/stall"), .mostSeconds = 0.05}, HttpError::TimedOut},
          Case{{.url = server.url("/"), .mostBytes = 4999}, HttpError::TooLarge},
          Case{{.url = server.url("/header")}, HttpError::TooLarge}})
        EXPECT_EQ(errorOf(c.request), c.error) << c.request.url;
    EXPECT_TRUE(send({.url = server.url("/"), .mostBytes = 5000}));
}

TEST_F(Http, ACancelledRequestEndsOnceAndAtOnce) {
    ScriptedWebServer server([](const WebRequest&) -> WebAnswer { return {.stalls = true}; });
    std::vector<int> ended;
    std::vector<HttpTaskRef> tasks;
    for (int i = 0; i < 12; ++i)  // more than go at a time
        tasks.push_back(client_->send({.url = server.url("/")}, [&ended, i](Result<HttpResponse> answer) {
            ASSERT_FALSE(answer);
            EXPECT_EQ(answer.error().code, static_cast<int>(HttpError::Cancelled));
            ended.push_back(i);
        }));
    for (const auto& task : tasks) {
        task->cancel();
        task->cancel();
    }
    EXPECT_TRUE(loop_->runUntil([&] { return ended.size() == 12; }));
    loop_->runUntilIdle();
    EXPECT_THAT(ended, SizeIs(12));
}

TEST_F(Http, TheClientEndsWithRequestsUnderWay) {
    ScriptedWebServer server([](const WebRequest&) -> WebAnswer { return {.stalls = true}; });
    bool ended = false;
    const auto task = client_->send({.url = server.url("/")}, [&](Result<HttpResponse>) { ended = true; });
    client_.reset();
    loop_->runUntilIdle();
    task->cancel();
    EXPECT_FALSE(ended);
}

TEST_F(Http, ABadServerHearsNothing) {
    const TestAuthority authority, stranger;
    restart({.userAgent = {}, .certificates = authority.write(folder_ / "roots.pem")});
    struct Case {
        const char* why;
        TestIdentity identity;
        bool isTrusted;
    };
    for (const Case& c : {Case{"good", authority.issue(), true}, Case{"of another authority", stranger.issue(), false},
                          Case{"of another name", authority.issue({.name = "mail.example.org"}), false},
                          Case{"expired", authority.issue({.isExpired = true}), false},
                          Case{"speaks old TLS only", authority.issue({.speaksOldTlsOnly = true}), false}}) {
        ScriptedWebServer server([](const WebRequest&) { return WebAnswer{.body = "in"}; }, c.identity);
        HttpRequest request{.url = server.url("/"), .login = HttpLogin{HttpLogin::Kind::Basic, "ada", "secret"}};
        const auto answer = send(request);
        EXPECT_EQ(answer.has_value(), c.isTrusted) << c.why;
        const int code = answer ? 0 : answer.error().code;
        EXPECT_EQ(code, c.isTrusted ? 0 : static_cast<int>(HttpError::SecureConnectionFailed)) << c.why;
        EXPECT_THAT(server.requests(), SizeIs(c.isTrusted ? 1 : 0)) << c.why;
        request.acceptsAnyCertificate = true;
        EXPECT_EQ(errorOf(request), HttpError::SecureConnectionFailed) << "never with a login";
    }
    ScriptedWebServer server([](const WebRequest&) { return WebAnswer{.body = "in"}; }, stranger.issue());
    EXPECT_TRUE(send({.url = server.url("/"), .acceptsAnyCertificate = true}));
}

TEST_F(Http, AnAddressOutOfAMailDoesNotReachIntoThePrivateNetwork) {
    ScriptedWebServer server([&](const WebRequest&) -> WebAnswer { return {.body = "inside"}; });
    const auto from = [&](const std::string& url) {
        return HttpRequest{.url = url,
                           .headers = {{"Authorization", "secret"}},
                           .login = HttpLogin{HttpLogin::Kind::Basic, "ada", "secret"},
                           .publicAddressesOnly = true};
    };
    EXPECT_EQ(errorOf(from(server.url("/"))), HttpError::AddressNotAllowed);
    EXPECT_EQ(errorOf(from("http://localhost:" + std::to_string(server.port()) + "/")), HttpError::AddressNotAllowed);
    EXPECT_EQ(errorOf(from("http://[::ffff:127.0.0.1]:" + std::to_string(server.port()) + "/")),
              HttpError::AddressNotAllowed);
    EXPECT_EQ(server.connections(), 0);
    restart({.userAgent = {}, .certificates = {}, .allowsLoopback = true});
    EXPECT_TRUE(send(from(server.url("/"))));
    EXPECT_FALSE(server.requests().at(0).has("Authorization"));
}

TEST(PublicAddress, IsWhatIsGivenOutAsGlobal) {
    struct Case {
        const char* address;
        bool isPublic;
    };
    for (const Case& c : {Case{"8.8.8.8", true},
                          Case{"0.1.2.3", false},
                          Case{"10.255.255.255", false},
                          Case{"11.0.0.0", true},
                          Case{"100.64.0.1", false},
                          Case{"100.128.0.1", true},
                          Case{"127.1.2.3", false},
                          Case{"169.254.169.254", false},
                          Case{"172.15.255.255", true},
                          Case{"172.16.0.0", false},
                          Case{"172.31.255.255", false},
                          Case{"172.32.0.0", true},
                          Case{"192.168.1.1", false},
                          Case{"198.18.0.1", false},
                          Case{"198.20.0.0", true},
                          Case{"203.0.113.9", false},
                          Case{"224.0.0.1", false},
                          Case{"255.255.255.255", false},
                          Case{"::", false},
                          Case{"::1", false},
                          Case{"::ffff:10.0.0.1", false},
                          Case{"::ffff:8.8.8.8", true},
                          Case{"::7f00:1", false},
                          Case{"64:ff9b::a00:1", false},
                          Case{"64:ff9b::808:808", true},
                          Case{"2002:7f00:1::", false},
                          Case{"2002:808:808::", true},
                          Case{"2001::1", false},
                          Case{"2001:db8::1", false},
                          Case{"3fff::1", false},
                          Case{"2001:4860::8888", true},
                          Case{"2a00:1450::1", true},
                          Case{"fc00::1", false},
                          Case{"fd12::1", false},
                          Case{"fe80::1", false},
                          Case{"ff02::1", false},
                          Case{"4000::1", false}}) {
        sockaddr_storage storage{};
        void* plain = &storage;
        if (std::string_view(c.address).find(':') == std::string_view::npos) {
            storage.ss_family = AF_INET;
            ASSERT_EQ(inet_pton(AF_INET, c.address, &static_cast<sockaddr_in*>(plain)->sin_addr), 1);
        } else {
            storage.ss_family = AF_INET6;
            ASSERT_EQ(inet_pton(AF_INET6, c.address, &static_cast<sockaddr_in6*>(plain)->sin6_addr), 1);
        }
        EXPECT_EQ(isPublicAddress(*static_cast<const sockaddr*>(plain)), c.isPublic) << c.address;
    }
}

TEST(FormEncoding, EscapesWhatAFormMust) {
    EXPECT_EQ(formEncoded({{"a b", "c&d=e"}, {"ü", "*-._~\r\n"}, {"", ""}}), "a+b=c%26d%3De&%C3%BC=*-._%7E%0D%0A&=");
}

}  // namespace
}  // namespace qs
