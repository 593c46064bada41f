// Takes one redirect of a browser on the loopback interface (RFC 8252, section 7.3), for desktops that hand no
// addresses of a program's own scheme over. A listener of its own on a free port, apart from the page's server: it
// answers one path, takes the first answer that is the right one, and serves nothing but a sentence.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class LoopbackRedirect {
public:
    struct Wanted {
        std::string path;      // without a slash in front
        std::string sentence;  // what the browser shows when it has arrived there
        // Whether it is the answer that is waited for, by its query; any other gets a "not found".
        std::function<bool(const std::string& query)> accepts;
        std::function<void(const std::string& query)> arrived;  // once
    };
    // Main thread; so are the functions.
    static Result<std::unique_ptr<LoopbackRedirect>> listen(Wanted wanted);
    virtual ~LoopbackRedirect() = default;  // closes it
    // "http://127.0.0.1:<port>/<path>"; with "localhost" in its place, it leads here, too.
    virtual std::string address() const = 0;
};

}  // namespace qs
