// The host's face on the loopback interface: serves the page, and keeps every open page in step with the models.
//
// Main thread. Nothing is answered but to requests that a page of ours can have made (RequestGuard) and that belong to
// a session (Sessions).
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class BundleLoader;
class MailApplication;

struct HostServerOptions {
    int port = 0;                      // 0: any free one
    std::filesystem::path pageFolder;  // the built page
};

class HostServer {
public:
    // Takes the port. Fails with a sentence when it is in use or the page's files are missing.
    static Result<std::unique_ptr<HostServer>> listen(const HostServerOptions& options);
    virtual ~HostServer() = default;
    // Begins to serve the application, which must outlive the server.
    virtual void start(MailApplication& application, const BundleLoader& bundles) = 0;
    virtual int port() const = 0;
    virtual bool hasPages() const = 0;  // one at least is open and connected
    // "http://127.0.0.1:<port>/#start=<ticket>": opens the page once, within 60 s.
    virtual std::string newStartLink() = 0;
    // Tells all pages that the program stops, and lets them go.
    virtual void sayGoodbye(std::string_view sentence) = 0;
};

}  // namespace qs
