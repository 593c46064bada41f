// The server as a whole: sockets, routes, threads and the regular work around them. Main thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "Accounts/PasswordHasher.h"
#include "Configuration.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

class BackendServer {
public:
    struct Options {
        PasswordHasher::Cost cost = PasswordHasher::Cost::Usual;
        std::filesystem::path imageDecoder;  // the program that decodes pictures; empty: none are taken
    };
    // Opens the database, listens and answers. Fails with a sentence for whoever runs the server.
    static Result<std::unique_ptr<BackendServer>> start(const BackendConfiguration& configuration, FileSystem& files,
                                                        const Options& options);
    virtual ~BackendServer() = default;  // at once; what was not answered yet is lost

    virtual int port() const = 0;
    virtual int metricsPort() const = 0;  // 0: none
    virtual const std::string& baseUrl() const = 0;
    // Takes no more requests, answers those under way (for some seconds at most), writes what is not written yet, then
    // calls the block.
    virtual void stop(std::function<void()> done) = 0;
};

}  // namespace qs
