#include "Text/Utf8.h"

namespace qs {

namespace {

unsigned byteAt(std::string_view text, std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
}
bool isTail(unsigned byte) { return (byte & 0xC0) == 0x80; }

}  // namespace

std::size_t utf8CharacterLength(std::string_view text) {
    const unsigned a = byteAt(text, 0), b = byteAt(text, 1), c = byteAt(text, 2), d = byteAt(text, 3);
    if (text.empty()) return 0;
    if (a < 0x80) return 1;
    if (a < 0xC2 || a > 0xF4 || !isTail(b)) return 0;
    if (a < 0xE0) return 2;
    // Overlong forms, surrogates and numbers beyond the last character show in the second byte.
    if ((a == 0xE0 && b < 0xA0) || (a == 0xED && b > 0x9F) || (a == 0xF0 && b < 0x90) || (a == 0xF4 && b > 0x8F))
        return 0;
    if (!isTail(c)) return 0;
    if (a < 0xF0) return 3;
    return isTail(d) ? 4 : 0;
}

char32_t firstUtf8Character(std::string_view text) {
    const unsigned a = byteAt(text, 0), b = byteAt(text, 1), c = byteAt(text, 2), d = byteAt(text, 3);
    switch (utf8CharacterLength(text)) {
    case 1: return a;
    case 2: return (a & 0x1F) << 6 | (b & 0x3F);
    case 3: return (a & 0x0F) << 12 | (b & 0x3F) << 6 | (c & 0x3F);
    case 4: return (a & 0x07) << 18 | (b & 0x3F) << 12 | (c & 0x3F) << 6 | (d & 0x3F);
    default: return 0xFFFD;
    }
}

bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8CharacterLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string validUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = utf8CharacterLength(text);
        if (length == 0)
            appendUtf8(valid, 0xFFFD);
        else
            valid.append(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return valid;
}

void appendUtf8(std::string& text, char32_t character) {
    const auto add = [&text](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) character = 0xFFFD;
    if (character < 0x80) {
        add(character);
    } else if (character < 0x800) {
        add(0xC0 | character >> 6);
        add(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        add(0xE0 | character >> 12);
        add(0x80 | (character >> 6 & 0x3F));
        add(0x80 | (character & 0x3F));
    } else {
        add(0xF0 | character >> 18);
        add(0x80 | (character >> 12 & 0x3F));
        add(0x80 | (character >> 6 & 0x3F));
        add(0x80 | (character & 0x3F));
    }
}

std::string utf8FromLatin1(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes)
        appendUtf8(text, static_cast<unsigned char>(byte));
    return text;
}

}  // namespace qs
