// The sockets of a web server of ours: listens, reads requests with bounded sizes and times, and hands them to its
// handlers on the main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "HttpServer/HttpTypes.h"

namespace qs {

// Takes the body of one request piece by piece. Main thread. When the body does not come whole, it is destroyed without
// end().
class HttpBodySink {
public:
    virtual ~HttpBodySink() = default;
    // After a failure the rest is dropped as it comes.
    virtual Result<void> take(std::string_view piece) = 0;
    // The answer, whether everything could be taken or not.
    virtual HttpServerResponse end() = 0;
};

struct HttpHandlers {
    // Asked with the head alone, before a body is read: an answer refuses the request.
    std::function<std::optional<HttpServerResponse>(const HttpServerRequest& head)> refuse;
    std::function<std::uint64_t(const HttpServerRequest& head)> bodyLimit;  // bytes
    // Where the body of such a request goes, whatever its size; null: into the request, as far as the limit allows.
    std::function<std::unique_ptr<HttpBodySink>(const HttpServerRequest& head)> takeBody = {};
    std::function<HttpServerResponse(const HttpServerRequest& request)> respond;
    // Instead of `respond`, where an answer takes work elsewhere: `reply` may be called at any time from any thread,
    // once. Without a call the request stays open as long as the server.
    std::function<void(HttpServerRequest request, std::function<void(HttpServerResponse)> reply)> respondLater;
    // The subprotocol to accept a WebSocket with; nothing refuses it with 403. Missing: WebSockets are refused.
    std::function<std::optional<std::string>(const HttpServerRequest& head)> acceptLive;
    std::function<void(std::shared_ptr<LiveChannel> channel)> openLive;
};

struct HttpServerOptions {
    int port = 0;                        // 0 takes any free one
    std::vector<std::string> addresses;  // to listen on, as numbers; empty: the loopback addresses that there are
    std::size_t mostConnections = 256;   // more are closed at once
    int idleSeconds = 30;                // for a head to come, between requests, too
    int transferSeconds = 600;           // for a body to come, and for an answer to go
};

class HttpServer {
public:
    // A port in use is an error with a sentence that says so, and with the code EADDRINUSE.
    static Result<std::unique_ptr<HttpServer>> listen(const HttpServerOptions& options);
    virtual ~HttpServer() = default;  // closes everything
    virtual int port() const = 0;
    // Begins to accept. The handlers are called until the server is destroyed.
    virtual void start(HttpHandlers handlers) = 0;
    // Takes no more connections, and closes each of those it has once its request is answered.
    virtual void stopAccepting() = 0;
};

}  // namespace qs
