// Requests that no page of ours can have made are refused before anything looks at them.
#include "RequestGuard.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

constexpr int kPort = 4711;

HttpServerRequest request(std::string method, std::string path,
                          std::vector<std::pair<std::string, std::string>> headers) {
    HttpServerRequest made;
    made.method = std::move(method);
    made.path = std::move(path);
    made.headers = std::move(headers);
    return made;
}

TEST(RequestGuard, OwnRequestsPass) {
    const RequestGuard guard(kPort);
    struct Case {
        const char* why;
        HttpServerRequest request;
    };
    HttpServerRequest live = request("GET", "/live", {{"Host", "localhost:4711"}, {"Origin", "http://localhost:4711"}});
    live.isWebSocketUpgrade = true;
    for (const Case& c :
         std::vector<Case>{{"typed address", request("GET", "/",
                                                     {{"Host", "127.0.0.1:4711"},
                                                      {"Sec-Fetch-Site", "none"},
                                                      {"Sec-Fetch-Mode", "navigate"},
                                                      {"Sec-Fetch-Dest", "document"}})},
                           {"the page's script",
                            request("GET", "/main.js", {{"host", "[::1]:4711"}, {"sec-fetch-site", "same-origin"}})},
                           {"a post of the page", request("POST", "/session",
                                                          {{"Host", "127.0.0.1:4711"},
                                                           {"Origin", "http://127.0.0.1:4711"},
                                                           {"Sec-Fetch-Site", "same-origin"}})},
                           {"live connection", live}})
        EXPECT_FALSE(guard.refuse(c.request)) << c.why;
}

TEST(RequestGuard, EveryForeignHostIsRefused) {
    const RequestGuard guard(kPort);
    for (const char* host : {"", "127.0.0.1", "127.0.0.1:80", "127.0.0.1:47110", "evil.example:4711", "localhost.:4711",
                             "localhost:4711.evil.example", "127.0.0.2:4711", "[::1]", "::1:4711", "0.0.0.0:4711",
                             "LOCALHOST:4711@evil.example"})
        for (const char* method : {"GET", "POST"}) {
            auto made = request(method, "/", {{"Host", host}, {"Origin", "http://" + std::string(host)}});
            ASSERT_TRUE(guard.refuse(made)) << host;
            EXPECT_EQ(guard.refuse(made)->status, 403);
        }
    EXPECT_TRUE(guard.refuse(request("GET", "/", {})));
    EXPECT_TRUE(guard.refuse(request("GET", "/", {{"Host", "127.0.0.1:4711"}, {"Host", "127.0.0.1:4711"}})));
}

TEST(RequestGuard, EveryForeignOriginIsRefusedOnEveryRoute) {
    const RequestGuard guard(kPort);
    const std::pair<const char*, const char*> routes[] = {{"POST", "/session"},
                                                          {"POST", "/compose/compose-1/attachments"},
                                                          {"GET", "/messages/1/body"},
                                                          {"GET", "/messages/1/parts/2"},
                                                          {"GET", "/main.js"},
                                                          {"GET", "/live"},
                                                          {"PUT", "/"},
                                                          {"POST", "/"}};
    for (const auto& [method, path] : routes)
        for (const char* origin :
             {"null", "http://evil.example", "http://127.0.0.1", "http://127.0.0.1:4712", "https://127.0.0.1:4711",
              "http://localhost:4711", "http://127.0.0.1:4711.evil.example", "http://127.0.0.1:4711/", "file://", ""}) {
            HttpServerRequest made = request(method, path, {{"Host", "127.0.0.1:4711"}});
            made.isWebSocketUpgrade = made.path == "/live";
            if (*origin) made.headers.emplace_back("Origin", origin);
            EXPECT_TRUE(guard.refuse(made)) << method << " " << path << " from " << origin;
            made.headers.emplace_back("Sec-Fetch-Site", "cross-site");
            EXPECT_TRUE(guard.refuse(made)) << method << " " << path << " from " << origin;
        }
}

TEST(RequestGuard, AnotherSitesFrameOrFetchOfThePageIsRefused) {
    const RequestGuard guard(kPort);
    for (const char* destination : {"iframe", "image", "script", "empty", "object"})
        EXPECT_TRUE(guard.refuse(request("GET", "/",
                                         {{"Host", "127.0.0.1:4711"},
                                          {"Sec-Fetch-Site", "cross-site"},
                                          {"Sec-Fetch-Mode", "no-cors"},
                                          {"Sec-Fetch-Dest", destination}})))
            << destination;
    // Our own name on another port is another origin.
    EXPECT_TRUE(guard.refuse(
        request("POST", "/session",
                {{"Host", "127.0.0.1:4711"}, {"Sec-Fetch-Site", "same-site"}, {"Origin", "http://127.0.0.1:4711"}})));
}

}  // namespace
}  // namespace qs
