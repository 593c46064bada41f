// Over real sockets, asked by the program's own client.
#include "HttpServer/HttpServer.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Support/LogCapture.h"

namespace qs {
namespace {

class HttpServerTest : public ::testing::Test {
protected:
    ~HttpServerTest() override {
        client_.reset();
        server_.reset();
    }
    void serve(std::function<HttpServerResponse(const HttpServerRequest&)> respond) {
        auto server = HttpServer::listen({});
        ASSERT_TRUE(server) << server.error().description;
        server_ = std::move(*server);
        server_->start({.refuse = [](const auto&) { return std::nullopt; },
                        .bodyLimit = [](const auto&) { return 0; },
                        .respond = std::move(respond)});
    }
    Result<HttpResponse> get(const std::string& path) {
        std::optional<Result<HttpResponse>> answer;
        auto task = client_->send({.url = "http://127.0.0.1:" + std::to_string(server_->port()) + path},
                                  [&](Result<HttpResponse> came) { answer = std::move(came); });
        EXPECT_TRUE(loop_->runUntil([&] { return answer.has_value(); }));
        return answer.value_or(failure("test", 0, "no answer"));
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    std::unique_ptr<HttpServer> server_;
    std::shared_ptr<HttpClient> client_ = HttpClient::make({.userAgent = "Test/1", .certificates = {}});
};

TEST_F(HttpServerTest, LargeAnswersAreReadWhileTheyAreSent) {
    std::string content;
    for (int i = 0; content.size() < 5'000'000; ++i)
        content += std::to_string(i);
    std::size_t largest = 0;
    serve([&](const HttpServerRequest& request) -> HttpServerResponse {
        const std::string_view text = request.path == "/empty" ? std::string_view() : content;
        return {200,
                {{"X-Kind", "large"}},
                {},
                SizedSource(text.size(), [&, read = sourceOf(text)](char* buffer, std::size_t size) {
                    largest = std::max(largest, size);
                    return read(buffer, size);
                })};
    });
    // Twice: the connection is good for another request.
    for (int i = 0; i < 2; ++i) {
        const auto answer = get("/");
        ASSERT_TRUE(answer) << answer.error().description;
        EXPECT_TRUE(answer->body == content);
        EXPECT_EQ(answer->header("x-kind"), "large");
        EXPECT_EQ(answer->header("x-content-type-options"), "nosniff");
    }
    EXPECT_LE(largest, 1u << 20);
    const auto empty = get("/empty");
    ASSERT_TRUE(empty) << empty.error().description;
    EXPECT_EQ(empty->body, "");
}

TEST_F(HttpServerTest, AnAnswerThatCannotBeReadToItsEndIsCutShort) {
    const std::string start(100'000, 'x');
    serve([&](const HttpServerRequest& request) -> HttpServerResponse {
        const bool fails = request.path == "/fault";
        return {200,
                {},
                {},
                SizedSource(start.size() + 1, sourceOf(start, [fails](char*, std::size_t) -> Result<std::size_t> {
                                if (fails) return failure("test", 1, "The disk reported a fault.");
                                return std::size_t{0};
                            }))};
    });
    EXPECT_FALSE(get("/fault")) << "never taken for the whole";
    EXPECT_FALSE(get("/short"));
    EXPECT_TRUE(log_.contains("An answer is cut short: The disk reported a fault."));
}

}  // namespace
}  // namespace qs
