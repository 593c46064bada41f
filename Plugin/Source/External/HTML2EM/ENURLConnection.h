// A document on its way from the network to ENXMLSaxParser, through the platform's HTTP client.
#pragma once

#include <memory>
#include <string_view>

namespace qs {

struct Error;
struct HttpRequest;

// Told on the main thread, never from inside the call that starts the connection.
class ENURLConnectionDelegate {
public:
    virtual ~ENURLConnectionDelegate() = default;
    virtual void connectionDidReceiveResponse(int statusCode) = 0;
    virtual void connectionDidReceiveData(std::string_view data) = 0;
    // One of these two ends it.
    virtual void connectionDidFinishLoading() = 0;
    virtual void connectionDidFailWithError(const Error& error) = 0;
};

class ENURLConnection {
public:
    // The delegate must outlive what is returned. Main thread.
    static std::unique_ptr<ENURLConnection> start(HttpRequest request, ENURLConnectionDelegate& delegate);
    virtual ~ENURLConnection() = default;  // cancels it too
    virtual void cancel() = 0;             // its delegate hears nothing after this
};

}  // namespace qs
