// Which route answers which request, and what its body may hold.
#pragma once

#include <cstdint>
#include <optional>

#include "Service.h"

namespace qs {

struct RouteEntry {
    std::string_view method, path;  // a path that ends with a slash stands for all that begin with it
    std::string_view name;          // in the metrics
    std::uint64_t bodyLimit;        // bytes
    Route route;
};

// The entry, or the answer to give instead: 404, or 405 for a path that knows other methods.
const RouteEntry* findRoute(const HttpServerRequest& head);
HttpServerResponse noRouteAnswer(const HttpServerRequest& head);

// Runs the route: what fails in it becomes 503, as a fault of ours is no refusal. Logs that.
HttpServerResponse answerOf(const RouteEntry& entry, Service& service, const Call& call);

}  // namespace qs
