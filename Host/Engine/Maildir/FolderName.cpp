#include "Maildir/FolderName.h"

#include <cstdint>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";
constexpr std::size_t kLongestName = 240;

// Characters of one shifted piece, "&...-": UTF-16 in a base 64 of its own.
class ShiftedWriter {
public:
    explicit ShiftedWriter(std::string& out) : out_(out) {}
    void add(char32_t character) {
        if (!isOpen_) out_ += '&';
        isOpen_ = true;
        if (character >= 0x10000) {
            addUnit(0xD800 + ((character - 0x10000) >> 10));
            addUnit(0xDC00 + ((character - 0x10000) & 0x3FF));
        } else {
            addUnit(character);
        }
    }
    void close() {
        if (!isOpen_) return;
        if (bits_ > 0) out_ += kDigits[(held_ << (6 - bits_)) & 63];
        out_ += '-';
        isOpen_ = false;
        held_ = 0;
        bits_ = 0;
    }

private:
    void addUnit(char32_t unit) {
        held_ = (held_ << 16) | unit;
        for (bits_ += 16; bits_ >= 6;)
            out_ += kDigits[(held_ >> (bits_ -= 6)) & 63];
        held_ &= 63;
    }

    std::string& out_;
    std::uint32_t held_ = 0;
    int bits_ = 0;
    bool isOpen_ = false;
};

bool appendLevel(std::string& folder, std::string_view level) {
    if (level.empty()) return false;
    ShiftedWriter shifted(folder);
    while (!level.empty()) {
        const std::size_t length = utf8CharacterLength(level);
        const char32_t character = firstUtf8Character(level);
        if (length == 0 || character < 0x20 || character == 0x7F) return false;
        level.remove_prefix(length);
        if (character > 0x7E || character == '.') {
            shifted.add(character);
            continue;
        }
        shifted.close();
        folder += static_cast<char>(character);
        if (character == '&') folder += '-';
    }
    shifted.close();
    return true;
}

// The text of a shifted piece without its "&" and "-"; nothing when it is none.
std::optional<std::string> unshifted(std::string_view digits) {
    if (digits.empty()) return "&";
    std::string text;
    std::uint32_t held = 0;
    char32_t high = 0;
    int bits = 0;
    for (const char c : digits) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) return {};
        held = (held << 6) | static_cast<std::uint32_t>(digit);
        bits += 6;
        if (bits < 16) continue;
        bits -= 16;
        const char32_t unit = (held >> bits) & 0xFFFF;
        held &= (1U << bits) - 1;
        const bool isLow = unit >= 0xDC00 && unit < 0xE000;
        if (isLow != (high != 0)) return {};
        if (isLow) {
            appendUtf8(text, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
            high = 0;
        } else if (unit >= 0xD800 && unit < 0xDC00) {
            high = unit;
        } else {
            if (unit < 0x20 || unit == 0x7F) return {};
            appendUtf8(text, unit);
        }
    }
    if (high != 0 || bits >= 6 || held != 0) return {};
    return text;
}

}  // namespace

std::optional<std::string> folderNameFromPath(std::string_view path) {
    std::string folder;
    for (;;) {
        const std::size_t slash = path.find('/');
        if (!appendLevel(folder, path.substr(0, slash))) return {};
        if (slash == std::string_view::npos) break;
        path.remove_prefix(slash + 1);
        folder += '.';
    }
    if (folder.size() > kLongestName) return {};
    return folder;
}

std::string pathFromFolderName(std::string_view folderName) {
    std::string path;
    while (!folderName.empty()) {
        const char c = folderName.front();
        folderName.remove_prefix(1);
        if (c == '&') {
            const std::size_t end = folderName.find('-');
            if (const auto text = end == std::string_view::npos ? std::nullopt : unshifted(folderName.substr(0, end))) {
                path += *text;
                folderName.remove_prefix(end + 1);
                continue;
            }
        }
        path += c == '.' ? '/' : c;
    }
    for (char& c : path)
        if (isAsciiControl(c)) c = ' ';
    return validUtf8(path);
}

}  // namespace qs
