#include "RequestGuard.h"

namespace qs {

namespace {

constexpr std::string_view kNames[] = {"127.0.0.1", "localhost", "[::1]"};

// A person types or follows an address: the only request that may come without an origin of ours.
bool isTopLevelPageVisit(const HttpServerRequest& request) {
    if (request.method != "GET" || request.path != "/" || request.isWebSocketUpgrade) return false;
    const std::string mode = request.header("Sec-Fetch-Mode"), destination = request.header("Sec-Fetch-Dest");
    return (mode.empty() || mode == "navigate") && (destination.empty() || destination == "document");
}

}  // namespace

bool RequestGuard::isOurHost(std::string_view host) const {
    for (const auto name : kNames)
        if (host == std::string(name) + ":" + std::to_string(port_)) return true;
    return false;
}

// The very name that the page was opened by: an origin of localhost does not speak for 127.0.0.1.
bool RequestGuard::isOurOrigin(std::string_view origin, std::string_view host) const {
    return origin == "http://" + std::string(host);
}

std::optional<HttpServerResponse> RequestGuard::refuse(const HttpServerRequest& request) const {
    const auto refusal = [] { return HttpServerResponse::text(403, "This address only answers its own page."); };
    const std::string host = request.header("Host");
    if (request.headerCount("Host") != 1 || !isOurHost(host)) return refusal();
    if (request.headerCount("Origin") > 1) return refusal();
    if (isTopLevelPageVisit(request)) return std::nullopt;

    const std::string site = request.header("Sec-Fetch-Site");
    if (!site.empty() && site != "same-origin") return refusal();
    const std::string origin = request.header("Origin");
    if (!origin.empty()) return isOurOrigin(origin, host) ? std::nullopt : std::optional(refusal());
    // Browsers leave the origin out of plain same-origin GETs, and then say "same-origin" themselves.
    const bool plainGet = (request.method == "GET" || request.method == "HEAD") && !request.isWebSocketUpgrade;
    return plainGet && site == "same-origin" ? std::nullopt : std::optional(refusal());
}

}  // namespace qs
