// What ENXMLSaxParser needs of a network to read a document from there. The library has none of its own: the program
// gives the parser a maker of connections.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct ENURLRequest {
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
};

// Told on the main thread, never from inside the call that makes the connection.
class ENURLConnectionDelegate {
public:
    virtual ~ENURLConnectionDelegate() = default;
    virtual void connectionDidReceiveResponse(int statusCode) = 0;
    virtual void connectionDidReceiveData(std::string_view data) = 0;
    // One of these two ends it.
    virtual void connectionDidFinishLoading() = 0;
    virtual void connectionDidFailWithError(const Error& error) = 0;
};

// A transfer under way. Dropping it cancels it too; after cancel() its delegate hears nothing.
class ENURLConnection {
public:
    virtual ~ENURLConnection() = default;
    virtual void cancel() = 0;
};
using ENURLConnectionMaker =
    std::function<std::unique_ptr<ENURLConnection>(const ENURLRequest& request, ENURLConnectionDelegate& delegate)>;

}  // namespace qs
