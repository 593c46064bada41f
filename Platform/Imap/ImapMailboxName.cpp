#include "Imap/ImapMailboxName.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

// A run of UTF-16 units, big end first, in base64 without padding.
class Shifted {
public:
    void add(std::string& out, char32_t unit) {
        bits_ = bits_ << 16 | unit;
        for (count_ += 16; count_ >= 6; count_ -= 6)
            out += kDigits[bits_ >> (count_ - 6) & 0x3F];
    }
    void end(std::string& out) {
        if (count_ > 0) out += kDigits[bits_ << (6 - count_) & 0x3F];
        bits_ = 0;
        count_ = 0;
    }

private:
    std::uint64_t bits_ = 0;
    int count_ = 0;
};

bool isDirect(char32_t c) { return c >= 0x20 && c <= 0x7E; }

// What stands between "&" and "-". Nothing when it is no base64 of whole, well-formed UTF-16.
std::optional<std::string> unshifted(std::string_view run) {
    std::string out;
    std::uint32_t bits = 0;
    int count = 0;
    char32_t high = 0;
    for (const char c : run) {
        const auto digit = kDigits.find(c);
        if (digit == std::string_view::npos) return {};
        bits = bits << 6 | static_cast<std::uint32_t>(digit);
        count += 6;
        if (count < 16) continue;
        count -= 16;
        const char32_t unit = bits >> count & 0xFFFF;
        bits &= (1u << count) - 1;
        const bool isHigh = unit >= 0xD800 && unit < 0xDC00, isLow = unit >= 0xDC00 && unit < 0xE000;
        if (isLow != (high != 0)) return {};
        if (isHigh)
            high = unit;
        else if (isLow)
            appendUtf8(out, 0x10000 + ((std::exchange(high, 0) - 0xD800) << 10) + (unit - 0xDC00));
        else
            appendUtf8(out, unit);
    }
    if (high != 0 || count >= 6 || bits != 0) return {};
    return out;
}

std::optional<std::string> decoded(std::string_view wire) {
    std::string out;
    while (!wire.empty()) {
        const char c = wire.front();
        if (static_cast<unsigned char>(c) >= 0x80) return {};
        wire.remove_prefix(1);
        if (c != '&') {
            out += c;
            continue;
        }
        const auto end = wire.find('-');
        if (end == std::string_view::npos) return {};
        if (end == 0) {
            out += '&';
        } else {
            const auto run = unshifted(wire.substr(0, end));
            if (!run) return {};
            out += *run;
        }
        wire.remove_prefix(end + 1);
    }
    return out;
}

}  // namespace

ImapMailboxName ImapMailboxName::fromText(std::string_view utf8) {
    std::string wire;
    bool isShifted = false;
    Shifted shifted;
    const auto endRun = [&] {
        if (!isShifted) return;
        shifted.end(wire);
        wire += '-';
        isShifted = false;
    };
    const std::string valid = validUtf8(utf8);
    for (std::string_view rest = valid; !rest.empty(); rest.remove_prefix(utf8CharacterLength(rest))) {
        const char32_t c = firstUtf8Character(rest);
        if (isDirect(c)) {
            endRun();
            wire += static_cast<char>(c);
            if (c == '&') wire += '-';
            continue;
        }
        if (!isShifted) wire += '&';
        isShifted = true;
        if (c < 0x10000) {
            shifted.add(wire, c);
        } else {
            shifted.add(wire, 0xD800 + ((c - 0x10000) >> 10));
            shifted.add(wire, 0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    endRun();
    return ImapMailboxName(std::move(wire));
}

std::string ImapMailboxName::text() const {
    auto text = decoded(wire_);
    return text ? *text : validUtf8(wire_);
}

bool ImapMailboxName::isInbox() const { return equalsIgnoringCase(wire_, "INBOX"); }

}  // namespace qs
