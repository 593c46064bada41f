// The built page as it is served: its files and nothing else, under the content policy that came with it.
#include "PageFiles.h"

#include <gmock/gmock.h>

#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using testing::HasSubstr;

HttpServerRequest get(std::string path) {
    HttpServerRequest request;
    request.method = "GET";
    request.path = std::move(path);
    request.headers = {{"Host", "127.0.0.1:4711"}};
    return request;
}

TEST(PageFiles, ComeWithTheirPolicyForTheHostThatWasAsked) {
    TemporaryFolder folder;
    folder.write("index.html", "<!doctype html>");
    folder.write("main.js", "x");
    EXPECT_THAT(PageFiles::load(folder.path()).error().description, HasSubstr("content policy"));
    folder.write("CSP.txt", "# Why.\ndefault-src 'none'\n\nconnect-src 'self' ws://{host} http://{host}\n");
    const auto page = PageFiles::load(folder.path());
    ASSERT_TRUE(page);
    const auto answer = page->answer(get("/"));
    EXPECT_EQ(answer.status, 200);
    const auto policy = std::find_if(answer.headers.begin(), answer.headers.end(),
                                     [](const auto& header) { return header.first == "Content-Security-Policy"; });
    ASSERT_NE(policy, answer.headers.end());
    EXPECT_EQ(policy->second, "default-src 'none'; connect-src 'self' ws://127.0.0.1:4711 http://127.0.0.1:4711");
    for (const char* path : {"/CSP.txt", "/../index.html", "/main.css", ""})
        EXPECT_EQ(page->answer(get(path)).status, 404) << path;
}

}  // namespace
}  // namespace qs
