#include "Account/QSBackend.h"

#include "Core/QSPluginDelegate.h"
#include "Reachability/NetworkState.h"
#include "Services/Reachability.h"
#include "Settings/UserDefaults.h"
#include "Text/Url.h"

namespace qs::QSBackend {

namespace {

// Tells the backend's operator that a plug-in of this build asks. No secret: it lies in everybody's copy.
constexpr const char* kBuildKey = QS_BACKEND_KEY;

// Every call bears the password: it goes out over TLS, or not at all.
bool mayBeAsked(std::string_view address) {
    const auto url = Url::parse(address);
    if (!url || !url->host() || url->host()->empty()) return false;
    const auto scheme = url->scheme();
    return scheme == "https" || (scheme == "http" && isOwnHost(*url->host()));
}

}  // namespace

std::string baseURL() {
    std::string url = QSPluginDelegate::quillsteadDefaults().stringForKey("QSBackendURL");
    if (url.empty()) url = QS_BACKEND_URL;
    while (url.ends_with('/'))
        url.pop_back();
    return mayBeAsked(url) ? url : std::string();
}

bool isConfigured() { return !baseURL().empty(); }

bool isReachable() {
    const auto url = Url::parse(baseURL());
    const auto host = url ? url->host() : std::nullopt;
    if (!host || host->empty()) return false;
    const auto reachability = Reachability::reachabilityWithHostName(std::string(*host));
    return reachability->currentReachabilityStatus() == NetworkStatus::ReachableViaWiFi &&
           !reachability->connectionRequired();
}

AFHTTPSessionManager manager() {
    AFHTTPSessionManager manager(baseURL());
    manager.requestSerializer().setValueForHTTPHeaderField(kBuildKey, "X-Authorization");
    manager.requestSerializer().setValueForHTTPHeaderField("application/json", "Accept");
    manager.responseSerializer().removesKeysWithNullValues = true;
    return manager;
}

AFHTTPSessionManager manager(std::string_view email, std::string_view password) {
    auto result = manager();
    result.requestSerializer().setAuthorizationHeaderField(email, password);
    return result;
}

}  // namespace qs::QSBackend
