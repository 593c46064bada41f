// What is told of the reader's system and program, and the pictures for them.
#include <charconv>
#include <span>

#include "Text/Ascii.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {

namespace {

struct IconRule {
    std::string_view text, icon;
    bool ignoresCase = true;
};

// The first that is found counts, so the order matters: many programs name others as well.
constexpr IconRule kSystems[] = {
    {"ios", "ios"}, {"mac", "macos"}, {"android", "android"}, {"windows", "windows"}, {"linux", "linux"}};

constexpr IconRule kApplications[] = {{"Apple Mail", "mail"},
                                      {"Mobile Safari", "safari-ios"},
                                      {"Safari", "safari"},
                                      {"Chrome", "chrome"},
                                      {"firefox", "firefox"},
                                      {"thunderbird", "thunderbird"},
                                      {"edge", "edge"},
                                      {"opera mobile", "opera-mini"},
                                      {"opera mini", "opera-mini"},
                                      {"outlook", "outlook"},
                                      {"live mail", "live-mail"},
                                      {"IE", "internet-explorer", false},
                                      {"android", "android-browser"},
                                      {"aol", "aol"}};

constexpr float kLastOldWindows = 7.0F;

std::string iconFor(std::string_view text, std::span<const IconRule> rules) {
    const std::string lower = asciiLowered(text);
    for (const IconRule& rule : rules) {
        const bool isFound = rule.ignoresCase ? lower.find(asciiLowered(rule.text)) != std::string::npos
                                              : text.find(rule.text) != std::string_view::npos;
        if (isFound) return std::string(rule.icon);
    }
    return {};
}

bool isNewWindows(std::string_view system) {
    constexpr std::string_view kName = "windows";
    if (!asciiLowered(system).starts_with(kName)) return false;
    const std::string_view rest = trimmedAscii(system.substr(kName.size()));
    float version = 0;
    const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), version);
    return parsed.ec == std::errc() && version > kLastOldWindows;
}

}  // namespace

std::string QSTrackingPixelOpen::system() const {
    const std::string agent = userAgent().value_or("");
    return std::string(trimmedAscii(std::string_view(agent).substr(0, agent.find('|'))));
}

std::string QSTrackingPixelOpen::application() const {
    const std::string agent = userAgent().value_or("");
    const auto bar = agent.rfind('|');
    return std::string(trimmedAscii(std::string_view(agent).substr(bar == std::string::npos ? 0 : bar + 1)));
}

std::string QSTrackingPixelOpen::systemIcon() const {
    const std::string text = system();
    const std::string icon = iconFor(text, kSystems);
    return icon == "windows" && isNewWindows(text) ? "windows_new" : icon;
}

std::string QSTrackingPixelOpen::applicationIcon() const { return iconFor(application(), kApplications); }

}  // namespace qs
