#include "Core/QSRedirects.h"

#include <map>
#include <optional>
#include <string>

#include "Application/MailApp.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr TimeInterval kLoginDelay = 0.3;
// "db-" and the application key at that service.
constexpr std::string_view kStorageApplicationScheme = "db-q4n8r2w6t0y5m1k";

struct RedirectHost {
    std::string_view host;
    int serviceType;
};
constexpr RedirectHost kRedirectHosts[] = {{"box-redirect", 6},       {"onenote-redirect", 18},
                                           {"onedrive-redirect", 19}, {"wunderlist-redirect", 20},
                                           {"todoist-redirect", 21},  {"asana-redirect", 22}};

struct Address {
    std::string scheme, host, query;
};

Address parse(std::string_view url) {
    Address address;
    auto colon = url.find(':');
    if (colon == std::string_view::npos) return address;
    address.scheme = asciiLowered(url.substr(0, colon));
    url.remove_prefix(colon + 1);
    url = url.substr(0, url.find('#'));
    if (auto question = url.find('?'); question != std::string_view::npos) {
        address.query = url.substr(question + 1);
        url = url.substr(0, question);
    }
    if (!url.starts_with("//")) return address;
    url.remove_prefix(2);
    url = url.substr(0, url.find('/'));
    if (auto at = url.rfind('@'); at != std::string_view::npos) url.remove_prefix(at + 1);
    address.host = asciiLowered(url.substr(0, url.find(':')));
    return address;
}

// Percent escapes read as ASCII: nothing for an escape that is none, or for a byte beyond ASCII.
std::optional<std::string> decoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        int code = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            if (i + 2 >= text.size() || hexDigitValue(text[i + 1]) < 0 || hexDigitValue(text[i + 2]) < 0)
                return std::nullopt;
            code = hexDigitValue(text[i + 1]) * 16 + hexDigitValue(text[i + 2]);
            i += 2;
        }
        if (code >= 0x80) return std::nullopt;
        result += static_cast<char>(code);
    }
    return result;
}

// All services of the type that wait for an answer get the code; the others ignore even a good one.
void passCode(MailApp& app, int serviceType, std::string_view query) {
    const auto& redirectTargets = QSSession::current().lifecycleHooks().redirectTargets;
    if (!redirectTargets) return;
    const auto values = redirectValues(query);
    auto code = values.find("code");
    for (const auto& target : redirectTargets(serviceType)) {
        if (target.linked || !target.linking) continue;
        if (code == values.end() || !target.authenticateWithCode) continue;
        app.activateIgnoringOtherApps(true);
        target.authenticateWithCode(code->second);
    }
}

void showLogin() {
    RunLoop::main().after(kLoginDelay, [] {
        auto* session = QSSession::currentIfLoaded();
        auto app = MailApp::shared();
        if (session && app && session->lifecycleHooks().showAccount)
            session->lifecycleHooks().showAccount(app->mainWindow(), false);
    });
}

}  // namespace

std::map<std::string, std::string> redirectValues(std::string_view query) {
    std::map<std::string, std::string> result;
    while (!query.empty()) {
        auto end = query.find('&');
        auto piece = query.substr(0, end);
        query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
        auto equals = piece.find('=');
        if (equals == std::string_view::npos) continue;
        auto value = piece.substr(equals + 1);
        auto key = decoded(piece.substr(0, equals)), text = decoded(value.substr(0, value.find('=')));
        if (key && text) result[*key] = *text;
    }
    return result;
}

bool handleAddress(MailApp& app, std::string_view url) {
    const Address address = parse(url);
    if (address.scheme != "quillstead") {
        if (address.scheme != kStorageApplicationScheme) return false;
        app.activateIgnoringOtherApps(true);
        return true;
    }
    for (const auto& redirect : kRedirectHosts)
        if (address.host == redirect.host) {
            passCode(app, redirect.serviceType, address.query);
            return true;
        }
    if (address.host == "login")
        showLogin();
    else
        app.activateIgnoringOtherApps(true);
    return true;
}

}  // namespace qs
