// A request and its answer, without sockets: what routes work on and tests can make.
#pragma once

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/ByteSource.h"

namespace qs {

struct HttpServerRequest {
    std::string method;   // "GET"
    std::string path;     // percent-decoded, without the query; "" when it could not be decoded
    std::string rawPath;  // the same as it came
    std::string query;    // as it came
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    bool isWebSocketUpgrade = false;
    std::string peer;  // the address of the other side of the connection, as a number

    // The value of the first header of that name, in any case; empty for none.
    std::string header(std::string_view name) const;
    int headerCount(std::string_view name) const;
    std::string cookie(std::string_view name) const;
    std::string queryValue(std::string_view name) const;
};

struct HttpServerResponse {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::optional<SizedSource> largeBody = {};  // instead of `body`: read on the main thread while it is sent

    static HttpServerResponse text(int status, std::string_view sentence);
    static HttpServerResponse json(std::string body);
};

// One live connection to a page. Main thread. After onClose nothing comes or goes.
class LiveChannel {
public:
    virtual ~LiveChannel() = default;
    virtual void send(std::string text) = 0;  // queued; sent in order
    virtual void close() = 0;
    std::function<void(std::string text)> onText;
    std::function<void()> onClose;
};

}  // namespace qs
