#include "Tracking/UserAgent.h"

#include <array>
#include <optional>

#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kMostBytes = 512;

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

// The number behind the mark, such as "10.3" behind "CPU iPhone OS " in "CPU iPhone OS 10_3 like": at most `parts`
// pieces, parted by dots.
std::string versionAfter(std::string_view text, std::string_view mark, int parts) {
    const auto at = text.find(mark);
    if (mark.empty() || at == std::string_view::npos) return {};
    std::string version;
    for (const char c : text.substr(at + mark.size())) {
        if (isAsciiDigit(c)) {
            version += c;
        } else if ((c == '.' || c == '_') && !version.empty() && version.back() != '.' && --parts > 0) {
            version += '.';
        } else {
            break;
        }
    }
    if (!version.empty() && version.back() == '.') version.pop_back();
    return version;
}

std::string named(std::string_view name, const std::string& version) {
    return std::string(name) + (version.empty() ? "" : " " + version);
}

std::string windowsName(std::string_view text) {
    struct Name {
        std::string_view mark, name;
    };
    constexpr std::array names = {
        Name{"Windows NT 10.0", "Windows 10"}, Name{"Windows NT 6.4", "Windows 10"},
        Name{"Windows NT 6.3", "Windows 8.1"}, Name{"Windows NT 6.2", "Windows 8"},
        Name{"Windows NT 6.1", "Windows 7"},   Name{"Windows NT 6.0", "Windows Vista"},
        Name{"Windows NT 5", "Windows XP"},    Name{"Windows Phone", "Windows Phone"},
    };
    for (const Name& each : names)
        if (has(text, each.mark)) return std::string(each.name);
    return "Windows";
}

std::string systemOf(std::string_view text) {
    if (has(text, "Windows")) return windowsName(text);
    if (has(text, "iPhone OS ")) return named("iOS", versionAfter(text, "iPhone OS ", 2));
    if (has(text, "iPad")) return named("iOS", versionAfter(text, "CPU OS ", 2));
    if (has(text, "iPhone")) return "iOS";
    if (has(text, "Android")) return named("Android", versionAfter(text, "Android ", 2));
    if (has(text, "Mac OS X")) return named("macOS", versionAfter(text, "Mac OS X ", 2));
    if (has(text, "Macintosh")) return "macOS";
    if (has(text, "CrOS")) return "Chrome OS";
    if (has(text, "Linux") || has(text, "X11")) return "Linux";
    return {};
}

// Proxies of mail services fetch pictures for their readers; what they say of a system is made up.
std::optional<UserAgent> mailServiceProxy(std::string_view text) {
    if (has(text, "GoogleImageProxy")) return UserAgent{"", "Gmail"};
    if (has(text, "YahooMailProxy")) return UserAgent{"", "Yahoo Mail"};
    return std::nullopt;
}

// Applications by what gives them away, in an order in which those that pretend to be others come first.
struct Sign {
    std::string_view mark;     // in the text
    std::string_view name;     // as it is told
    std::string_view version;  // what the version stands behind; empty: none is told
};
constexpr std::array kSigns = {
    Sign{"Thunderbird/", "Thunderbird", "Thunderbird/"},
    Sign{"Icedove/", "Thunderbird", "Icedove/"},
    Sign{"Outlook-Express/", "Windows Live Mail", ""},
    Sign{"Microsoft Outlook", "Outlook", "Microsoft Outlook "},
    Sign{"Outlook-iOS", "Outlook", ""},
    Sign{"Outlook-Android", "Outlook", ""},
    Sign{"MacOutlook/", "Outlook", "MacOutlook/"},
    Sign{"MSOffice", "Outlook", ""},
    Sign{"Microsoft Office", "Outlook", ""},
    Sign{"AOL ", "AOL", "AOL "},
    Sign{"Opera Mini/", "Opera Mini", ""},
    Sign{"Opera Mobi", "Opera Mobile", ""},
    Sign{"OPR/", "Opera", "OPR/"},
    Sign{"Opera", "Opera", "Version/"},
    Sign{"Edge/", "Edge", "Edge/"},
    Sign{"Edg/", "Edge", "Edg/"},
    Sign{"EdgA/", "Edge", "EdgA/"},
    Sign{"EdgiOS/", "Edge", "EdgiOS/"},
    Sign{"FxiOS/", "Firefox", "FxiOS/"},
    Sign{"Firefox/", "Firefox", "Firefox/"},
    Sign{"CriOS/", "Chrome", "CriOS/"},
    Sign{"Chromium/", "Chrome", "Chromium/"},
    Sign{"Chrome/", "Chrome", "Chrome/"},
    Sign{"MSIE ", "IE", "MSIE "},
    Sign{"Trident/", "IE", "rv:"},
};

std::string applicationOf(std::string_view text) {
    for (const Sign& sign : kSigns)
        if (has(text, sign.mark)) return named(sign.name, versionAfter(text, sign.version, 1));
    if (!has(text, "AppleWebKit")) return {};
    if (has(text, "Android")) return "Android Browser";
    const std::string version = versionAfter(text, "Version/", 1);
    if (has(text, "Safari/")) return named(has(text, "Mobile/") ? "Mobile Safari" : "Safari", version);
    // The web engine of these systems without a browser around it: their mail program.
    const bool isApple = has(text, "Mac OS X") || has(text, "iPhone") || has(text, "iPad");
    return isApple ? "Apple Mail" : "";
}

}  // namespace

std::string UserAgent::text() const {
    return system.empty() && application.empty() ? std::string() : system + " | " + application;
}

UserAgent parseUserAgent(std::string_view header) {
    const std::string_view text = header.substr(0, kMostBytes);
    if (auto proxy = mailServiceProxy(text)) return *proxy;
    return {systemOf(text), applicationOf(text)};
}

}  // namespace qs
