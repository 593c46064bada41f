// The publisher of the demo's newsletter, on the loopback interface: takes the request of a subscriber who wants to
// leave. It keeps nothing; who left is told in the log.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class HttpServer;

class DemoNewsletter {
public:
    DemoNewsletter();
    ~DemoNewsletter();

    // At the port of last time, as its address stands in a mail. Tells the plug-in that the person knows this server.
    // Main thread.
    Result<void> start();
    void end();                   // before the run loop goes
    std::string address() const;  // "http://127.0.0.1:4711"; empty before

private:
    std::unique_ptr<HttpServer> server_;
};

}  // namespace qs
