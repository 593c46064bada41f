#include "Display/SafeUrl.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Escapes.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kLongestAddress = 8192;

// As browsers read it: control characters and blanks at the ends are cut, line ends and tabs inside are not there.
std::string asBrowsersRead(std::string_view address) {
    while (!address.empty() && static_cast<unsigned char>(address.front()) <= ' ')
        address.remove_prefix(1);
    while (!address.empty() && static_cast<unsigned char>(address.back()) <= ' ')
        address.remove_suffix(1);
    std::string out;
    for (const char c : address) {
        if (c == '\t' || c == '\n' || c == '\r') continue;
        if (isAsciiControl(c)) return {};
        out += c == ' ' ? std::string("%20") : std::string(1, c);
    }
    return out;
}

// In lower case, without the colon; empty for a relative address.
std::string schemeOf(std::string_view address) {
    const std::size_t colon = address.find(':');
    if (colon == std::string_view::npos || address.find_first_of("/?#\\") < colon) return {};
    return asciiLowered(address.substr(0, colon));
}

}  // namespace

std::string safeLinkAddress(std::string_view address) {
    if (address.size() > kLongestAddress) return {};
    std::string read = asBrowsersRead(address);
    if (read.starts_with("//")) read = "https:" + read;
    if (read.starts_with('#')) return read;
    const std::string scheme = schemeOf(read);
    const std::string_view rest = std::string_view(read).substr(std::min(scheme.size() + 1, read.size()));
    if (scheme == "mailto") return read;
    const bool isWeb = (scheme == "http" || scheme == "https") && rest.starts_with("//") && rest.size() > 2;
    return isWeb && std::string_view("/?#\\").find(rest[2]) == std::string_view::npos ? read : std::string();
}

std::string safeRemotePicture(std::string_view address) {
    std::string web = safeLinkAddress(address);
    if (!startsWithIgnoringCase(web, "http")) return {};
    web.erase(std::min(web.find('#'), web.size()));
    return web;
}

std::string safePictureData(std::string_view address) {
    const std::string_view trimmed = trimmedAscii(address);
    static constexpr std::string_view kFormats[] = {"png", "gif", "jpeg", "jpg", "webp", "bmp"};
    for (const std::string_view format : kFormats) {
        const std::string head = "data:image/" + std::string(format) + ";base64,";
        if (!startsWithIgnoringCase(trimmed, head)) continue;
        const std::string_view data = trimmed.substr(head.size());
        std::string out = head;
        out.reserve(head.size() + data.size());
        for (const char c : data) {
            if (isAsciiSpace(c)) continue;
            if (!isAsciiLetter(c) && !isAsciiDigit(c) && c != '+' && c != '/' && c != '=') return {};
            out += c;
        }
        return out;
    }
    return {};
}

std::string contentIDOf(std::string_view address) {
    const std::string_view trimmed = trimmedAscii(address);
    if (!startsWithIgnoringCase(trimmed, "cid:")) return {};
    return percentDecoded(trimmed.substr(4));
}

bool isRemoteAddress(std::string_view address) {
    const std::string read = asBrowsersRead(address);
    const std::string scheme = schemeOf(read);
    return !read.empty() && !read.starts_with('#') && scheme != "data" && scheme != "cid" && scheme != "about";
}

}  // namespace qs
