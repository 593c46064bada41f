// A web server on the loopback interface that records every request and answers what the test says.
//
//     ScriptedWebServer server([](const WebRequest& request) -> WebAnswer {
//         if (request.path == "/token") return {.body = R"({"access_token": "a"})"};
//         return {.status = 404};
//     });
//     ... server.url("/token") ... server.requests().at(0).header("Authorization") ...
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support/TestIdentity.h"

namespace qs {

using WebHeaders = std::vector<std::pair<std::string, std::string>>;

struct WebRequest {
    std::string method, path, query;  // the path without its query, both as they came
    WebHeaders headers;
    std::string body;
    std::string header(std::string_view name) const;  // "" when missing
    bool has(std::string_view name) const;
    // The body's (or the query's) fields, unescaped, when it is a form; of several of one name the last.
    std::map<std::string, std::string> form() const;
    std::map<std::string, std::string> queryFields() const;
};

struct WebAnswer {
    int status = 200;
    WebHeaders headers;  // Content-Length comes by itself
    std::string body;
    bool hangsUp = false;          // without any answer
    bool stalls = false;           // says nothing until the client goes
    std::size_t hangsUpAfter = 0;  // so many bytes of the body, if not 0
};

class ScriptedWebServer {
public:
    // Called on a thread of the connection, one at a time.
    using Handler = std::function<WebAnswer(const WebRequest&)>;
    explicit ScriptedWebServer(Handler handler, std::optional<TestIdentity> identity = std::nullopt);
    ~ScriptedWebServer();
    ScriptedWebServer(const ScriptedWebServer&) = delete;
    ScriptedWebServer& operator=(const ScriptedWebServer&) = delete;

    int port() const;
    std::string url(std::string_view path) const;  // with the scheme it speaks
    std::vector<WebRequest> requests() const;      // in the order in which they came
    int connections() const;                       // those that failed before a request included

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace qs
