// The sockets of the local web interface: listens on the loopback addresses only, reads requests with bounded sizes and
// times, and hands them to its handlers on the main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Foundation/Result.h"
#include "HttpTypes.h"

namespace qs {

struct HttpHandlers {
    // Asked with the head alone, before a body is read: an answer refuses the request.
    std::function<std::optional<HttpResponse>(const HttpRequest& head)> refuse;
    std::function<std::uint64_t(const HttpRequest& head)> bodyLimit;  // bytes
    std::function<HttpResponse(const HttpRequest& request)> respond;
    // The subprotocol to accept a WebSocket with; nothing refuses it with 403.
    std::function<std::optional<std::string>(const HttpRequest& head)> acceptLive;
    std::function<void(std::shared_ptr<LiveChannel> channel)> openLive;
};

class HttpServer {
public:
    // Port 0 takes any free one. A port in use is an error with a sentence that says so.
    static Result<std::unique_ptr<HttpServer>> listen(int port);
    virtual ~HttpServer() = default;  // closes everything
    virtual int port() const = 0;
    // Begins to accept. The handlers are called until the server is destroyed.
    virtual void start(HttpHandlers handlers) = 0;
};

}  // namespace qs
