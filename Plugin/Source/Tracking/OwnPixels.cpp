#include "Tracking/OwnPixels.h"

#include <algorithm>

#include "Account/QSBackend.h"
#include "Text/Ascii.h"
#include "Text/Url.h"
#include "Tracking/QSTrackingPixelManager.h"

namespace qs {

namespace {

constexpr std::string_view kZero = "00000000-0000-0000-0000-000000000000";

std::size_t findIgnoringCase(std::string_view text, std::string_view part, std::size_t from) {
    const auto same = [](char a, char b) { return asciiLower(a) == asciiLower(b); };
    const auto start = text.begin() + static_cast<std::ptrdiff_t>(std::min(from, text.size()));
    const auto found = std::search(start, text.end(), part.begin(), part.end(), same);
    return found == text.end() ? std::string_view::npos : static_cast<std::size_t>(found - text.begin());
}

}  // namespace

std::string htmlWithOwnPixelsBlanked(std::string_view html) {
    std::string result(html);
    if (!QSBackend::isConfigured()) return result;
    const std::string address = QSBackend::baseURL() + "/tracking/";
    for (auto at = findIgnoringCase(html, address, 0); at != std::string_view::npos;
         at = findIgnoringCase(html, address, at)) {
        at += address.size();
        const auto isOfId = [](char c) { return c == '-' || hexDigitValue(c) >= 0; };
        const auto end = std::find_if_not(html.begin() + static_cast<std::ptrdiff_t>(at), html.end(), isOfId);
        const std::string_view uuid = html.substr(at, static_cast<std::size_t>(end - html.begin()) - at);
        if (uuid.size() == kZero.size() && QSTrackingPixelManager::trackingPixelWithUUID(uuid))
            result.replace(at, uuid.size(), kZero);
    }
    return result;
}

bool isAddressOfOwnPixel(std::string_view absoluteString) {
    if (!QSBackend::isConfigured()) return false;
    if (absoluteString.find(QSBackend::baseURL() + "/tracking/") == std::string_view::npos) return false;
    std::string_view path = absoluteString.substr(0, absoluteString.find_first_of("?#"));
    while (path.ends_with('/'))
        path.remove_suffix(1);
    const auto lastPathComponent = percentDecodedUtf8(path.substr(path.rfind('/') + 1));
    return lastPathComponent && QSTrackingPixelManager::trackingPixelWithUUID(*lastPathComponent);
}

}  // namespace qs
