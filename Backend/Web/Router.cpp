#include "Web/Router.h"

#include <array>
#include <exception>

#include "Accounts/AccountRoutes.h"
#include "Configuration.h"
#include "Foundation/Log.h"
#include "Metrics.h"
#include "Pages/AccountPages.h"
#include "Pages/Html.h"
#include "Pages/LetterPages.h"
#include "Store/SqlConnection.h"
#include "Tracking/TrackingRoutes.h"
#include "Web/Answers.h"

namespace qs {

namespace {

constexpr std::uint64_t kNoBody = 0, kForm = 16 * 1024, kPixels = 4 << 20, kPicture = 4 << 20;

constexpr std::array kRoutes = {
    RouteEntry{"POST", "/api/v1/addUser", "addUser", kForm, addUser},
    RouteEntry{"GET", "/api/v1/profile", "profile", kNoBody, showProfile},
    RouteEntry{"POST", "/api/v1/properties", "properties", kForm, takeProperties},
    RouteEntry{"POST", "/api/v1/device", "device", kForm, takeDevice},
    RouteEntry{"POST", "/api/v1/tracking", "tracking", kPixels, takePixels},
    RouteEntry{"GET", "/api/v1/tracking", "tracking", kNoBody, showPixels},
    RouteEntry{"PUT", "/api/v1/picture", "picture", kPicture, takePicture},
    RouteEntry{"DELETE", "/api/v1/picture", "picture", kNoBody, takePicture},
    RouteEntry{"GET", "/avatars/", "picture", kNoBody, showPicture},
    RouteEntry{"GET", "/pictures/", "picture", kNoBody, showPicture},
    RouteEntry{"GET", "/account", "page", kNoBody, showNamePage},
    RouteEntry{"POST", "/account", "page", kForm, changeName},
    RouteEntry{"GET", "/account/delete", "page", kNoBody, showDeletionPage},
    RouteEntry{"POST", "/account/delete", "page", kForm, deleteAccount},
    RouteEntry{"GET", "/confirm", "page", kNoBody, showConfirmation},
    RouteEntry{"POST", "/confirm", "page", kForm, confirm},
    RouteEntry{"GET", "/password/email", "page", kNoBody, showResetRequest},
    RouteEntry{"POST", "/password/email", "page", kForm, requestReset},
    RouteEntry{"GET", "/password/reset", "page", kNoBody, showReset},
    RouteEntry{"POST", "/password/reset", "page", kForm, resetPassword},
    RouteEntry{"GET", "/terms", "page", kNoBody, showTerms},
    RouteEntry{"GET", "/style.css", "page", kNoBody, [](Service&, const Call&) { return styleSheet(); }},
    RouteEntry{"GET", "/", "page", kNoBody, showFrontPage},
};

bool fits(const RouteEntry& entry, const HttpServerRequest& head) {
    const bool isFolder = entry.path.size() > 1 && entry.path.back() == '/';
    return isFolder ? head.path.starts_with(entry.path) : head.path == entry.path;
}

bool isInterface(const HttpServerRequest& head) { return head.path.starts_with("/api/"); }

// Compares all of it, so that the time says nothing about how much was right.
bool isSameSecret(std::string_view a, std::string_view b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        difference |= static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
    return difference == 0;
}

HttpServerResponse faultAnswer(const HttpServerRequest& head) {
    constexpr std::string_view sentence = "The server can't do this just now. Please try again later.";
    HttpServerResponse response =
        isInterface(head) ? errorAnswer(503, sentence) : messagePage(503, "Please try again", sentence);
    response.headers.emplace_back("Retry-After", "60");
    return response;
}

}  // namespace

const RouteEntry* findRoute(const HttpServerRequest& head) {
    for (const RouteEntry& entry : kRoutes)
        if (entry.method == head.method && fits(entry, head)) return &entry;
    return nullptr;
}

HttpServerResponse noRouteAnswer(const HttpServerRequest& head) {
    std::string allowed;
    for (const RouteEntry& entry : kRoutes)
        if (fits(entry, head)) allowed += std::string(allowed.empty() ? "" : ", ") + std::string(entry.method);
    const int status = allowed.empty() ? 404 : 405;
    const std::string_view sentence = allowed.empty() ? "There is nothing here." : "This is not how to ask for this.";
    HttpServerResponse response =
        isInterface(head) ? errorAnswer(status, sentence) : HttpServerResponse::text(status, sentence);
    if (!allowed.empty()) response.headers.emplace_back("Allow", allowed);
    return response;
}

HttpServerResponse answerOf(const RouteEntry& entry, Service& service, const Call& call) {
    // It identifies the program, not a user, so it is no matter of signing in.
    const std::string& key = service.configuration.clientKey;
    if (isInterface(call.http) && !key.empty() && !isSameSecret(call.http.header("X-Authorization"), key))
        return errorAnswer(403, "This server doesn't know your version of Quillstead.");
    try {
        return entry.route(service, call);
    } catch (const SqlFailure& failure) {
        logError("The database failed at " + std::string(entry.path) + ": " + failure.what());
        service.metrics.add("database_failures_total");
    } catch (const std::exception& fault) {
        logError("The answer of " + std::string(entry.path) + " failed: " + fault.what());
    }
    return faultAnswer(call.http);
}

}  // namespace qs
