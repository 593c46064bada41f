#include "Mime/FileNames.h"

#include <algorithm>
#include <utility>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kLongest = 200;

// Control characters, and those that reorder or hide text ("gpj.exe" shown as "exe.jpg").
bool isHidden(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xAD || c == 0x61C || (c >= 0x200B && c <= 0x200F) ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF ||
           (c >= 0xFFF9 && c <= 0xFFFB) || (c >= 0xE0000 && c < 0xE0080);
}

std::string shortened(std::string_view name) {
    if (name.size() <= kLongest) return std::string(name);
    const std::size_t dot = name.rfind('.');
    const std::string_view extension =
        dot == std::string_view::npos || name.size() - dot > 20 ? std::string_view{} : name.substr(dot);
    std::string_view stem = name.substr(0, kLongest - extension.size());
    while (!isValidUtf8(stem))  // cut in the middle of a character
        stem.remove_suffix(1);
    return std::string(stem) + std::string(extension);
}

}  // namespace

std::string safeFileName(std::string_view name) {
    const std::string valid = validUtf8(name);
    std::string_view rest = valid;
    if (const std::size_t slash = rest.find_last_of("/\\"); slash != std::string_view::npos)
        rest.remove_prefix(slash + 1);
    std::string kept;
    while (!rest.empty()) {
        const std::size_t length = utf8CharacterLength(rest);
        if (!isHidden(firstUtf8Character(rest))) kept += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    std::string_view shown = trimmedAscii(kept);
    while (shown.starts_with('.') || shown.starts_with(' '))
        shown.remove_prefix(1);
    while (shown.ends_with('.') || shown.ends_with(' '))
        shown.remove_suffix(1);
    return shortened(shown);
}

std::string extensionForMimeType(std::string_view mimeType) {
    static constexpr std::pair<std::string_view, std::string_view> kKnown[] = {
        {"application/json", "json"},
        {"application/msword", "doc"},
        {"application/pdf", "pdf"},
        {"application/pgp-encrypted", "asc"},
        {"application/pgp-keys", "asc"},
        {"application/pgp-signature", "asc"},
        {"application/pkcs7-mime", "p7m"},
        {"application/pkcs7-signature", "p7s"},
        {"application/zip", "zip"},
        {"audio/mpeg", "mp3"},
        {"image/gif", "gif"},
        {"image/jpeg", "jpg"},
        {"image/png", "png"},
        {"image/svg+xml", "svg"},
        {"image/tiff", "tif"},
        {"image/webp", "webp"},
        {"message/delivery-status", "txt"},
        {"message/disposition-notification", "txt"},
        {"message/rfc822", "eml"},
        {"text/calendar", "ics"},
        {"text/css", "css"},
        {"text/csv", "csv"},
        {"text/html", "html"},
        {"text/plain", "txt"},
        {"text/rfc822-headers", "txt"},
        {"text/vcard", "vcf"},
        {"text/x-vcard", "vcf"},
        {"video/mp4", "mp4"},
    };
    const auto found = std::find_if(std::begin(kKnown), std::end(kKnown),
                                    [&](const auto& known) { return equalsIgnoringCase(known.first, mimeType); });
    return found == std::end(kKnown) ? std::string() : std::string(found->second);
}

}  // namespace qs
