#include "Compose/PictureUrl.h"

#include <cstdint>

#include "Text/Ascii.h"
#include "Text/MimeTypes.h"

namespace qs {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encoded(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group = group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        for (std::size_t j = 0; j < 4; ++j)
            text += j > bytes.size() - i ? '=' : kDigits[group >> (18 - 6 * j) & 63];
    }
    return text;
}

std::optional<std::string> decoded(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t group = 0;
    int bits = 0;
    for (const char c : text) {
        if (isAsciiSpace(c)) continue;
        if (c == '=') break;
        const auto digit = kDigits.find(c);
        if (digit == std::string_view::npos) return {};
        group = group << 6 | static_cast<std::uint32_t>(digit);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(group >> bits & 0xFF);
    }
    return bytes;
}

}  // namespace

std::string pictureUrl(std::string_view content) {
    const std::string_view type = pictureTypeOf(content);
    return type.empty() ? std::string() : "data:" + std::string(type) + ";base64," + encoded(content);
}

std::optional<std::string> pictureFromUrl(std::string_view url) {
    if (!startsWithIgnoringCase(url, "data:image/")) return {};
    const auto comma = url.find(',');
    if (comma == std::string_view::npos || asciiLowered(url.substr(0, comma)).find(";base64") == std::string::npos)
        return {};
    auto content = decoded(url.substr(comma + 1));
    if (!content || pictureTypeOf(*content).empty()) return {};
    return content;
}

}  // namespace qs
