#include "Text/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "Text/Ascii.h"
#include "Text/Charsets.h"

namespace qs {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kBytesPerLine = 48;

constexpr auto kValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t i = 0; i < kDigits.size(); ++i)
        values[static_cast<unsigned char>(kDigits[i])] = static_cast<std::int8_t>(i);
    return values;
}();

void appendEncoded(std::string& out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t k) {
            return i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u;
        };
        const unsigned bits = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (std::size_t k = 0; k < 4; ++k)
            out += i + k > bytes.size() ? '=' : kDigits[bits >> (18 - 6 * k) & 63];
    }
}

}  // namespace

std::string base64EncodedString(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    appendEncoded(out, bytes);
    return out;
}

std::string base64EncodedStringWithLineBreaks(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4 + bytes.size() / kBytesPerLine * 2);
    for (std::size_t i = 0; i < bytes.size(); i += kBytesPerLine) {
        if (i > 0) out += "\r\n";
        appendEncoded(out, bytes.substr(i, kBytesPerLine));
    }
    return out;
}

std::optional<std::string> dataFromBase64String(std::string_view text) {
    const auto padding = std::min(text.find('='), text.size());
    const bool onlyPadding =
        std::ranges::all_of(text.substr(padding), [](char c) { return c == '=' || isAsciiSpace(c); });
    if (!onlyPadding) return std::nullopt;
    std::string bytes;
    bytes.reserve(padding / 4 * 3 + 2);
    std::uint32_t held = 0;
    int bits = 0;
    for (const char c : text.substr(0, padding)) {
        if (isAsciiSpace(c)) continue;
        const int value = kValues[static_cast<unsigned char>(c)];
        if (value < 0) return std::nullopt;
        held = (held << 6 | static_cast<std::uint32_t>(value)) & 0xFFFFFF;
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(held >> bits & 0xFF);
    }
    if (bits == 6) return std::nullopt;
    return bytes;
}

std::optional<std::string> stringByEncodingBase64(std::string_view text, std::string_view withCharacterEncoding) {
    const auto bytes = bytesInCharset(text, withCharacterEncoding);
    if (!bytes) return std::nullopt;
    return base64EncodedString(*bytes);
}

std::optional<std::string> stringByDecodingBase64(std::string_view base64, std::string_view withCharacterEncoding) {
    const auto bytes = dataFromBase64String(base64);
    if (!bytes) return std::nullopt;
    return textInCharset(*bytes, withCharacterEncoding);
}

}  // namespace qs
