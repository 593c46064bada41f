// Turns away requests that no page of ours can have made, before anything else looks at them. Other web pages in the
// same browser can send requests here, and names can be made to lead here: so the Host must be one of our names with
// our port, the Origin ours, and the browser's own word (Sec-Fetch-Site) must agree.
#pragma once

#include <optional>
#include <string>

#include "HttpServer/HttpTypes.h"

namespace qs {

class RequestGuard {
public:
    explicit RequestGuard(int port) : port_(port) {}
    // The 403 to answer with, or nothing for a request that may go on.
    std::optional<HttpServerResponse> refuse(const HttpServerRequest& request) const;

private:
    bool isOurHost(std::string_view host) const;
    bool isOurOrigin(std::string_view origin, std::string_view host) const;

    int port_;
};

}  // namespace qs
