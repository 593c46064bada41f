#include "HTML2EM/ENXMLText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "Text/Utf8.h"

namespace qs {

namespace {

bool isLegalAscii(unsigned char c) { return c >= 0x20 || c == '\t' || c == '\n' || c == '\r'; }

// Many at once: no byte has its high bit set or is below 0x20. A line end makes it look closer.
template <std::size_t words>
bool arePrintable(const char* bytes) {
    std::uint64_t word[words], all = 0;
    std::memcpy(word, bytes, sizeof word);
    constexpr std::uint64_t high = 0x8080808080808080u, blanks = 0x2020202020202020u;
    for (const std::uint64_t each : word)
        all |= each | (each - blanks);
    return (all & high) == 0;
}

// The length of the legal character at the start; 0 when there is none.
std::size_t legalCharacterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return isLegalAscii(first) ? 1 : 0;
    if (text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF")) return 0;
    return utf8CharacterLength(text);
}

std::string_view escapeInText(char c) {
    switch (c) {
    case '&': return "&amp;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '"': return "&quot;";
    case '\r': return "&#13;";
    default: return {};
    }
}

std::string_view escapeInValue(char c) {
    switch (c) {
    case '&': return "&amp;#38;";
    case '\n': return "&#10;";
    case '\t': return "&#9;";
    default: return escapeInText(c);
    }
}

using Plain = std::array<bool, 256>;
constexpr Plain makePlain(bool hasLines) {
    Plain plain{};
    for (std::size_t c = 0x20; c < 0x80; ++c)
        plain[c] = c != '&' && c != '<' && c != '>' && c != '"';
    plain['\t'] = plain['\n'] = hasLines;
    return plain;
}
constexpr Plain kPlainInText = makePlain(true), kPlainInValue = makePlain(false);

// ASCII that stands for itself.
std::size_t plainPrefix(std::string_view text, const Plain& plain) {
    std::size_t i = 0;
    while (i < text.size() && plain[static_cast<unsigned char>(text[i])])
        ++i;
    return i;
}

std::size_t beyondAsciiPrefix(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && static_cast<unsigned char>(text[i]) >= 0x80)
        ++i;
    return i;
}

void appendEscaped(std::string& target, std::string_view text, const Plain& plain, std::string_view (*escapeOf)(char)) {
    while (!text.empty()) {
        const std::size_t length = plainPrefix(text, plain);
        target.append(text.substr(0, length));
        text.remove_prefix(length);
        if (text.empty()) return;
        const std::string_view escaped = escapeOf(text.front());
        const std::size_t taken = std::max<std::size_t>(escaped.empty() ? beyondAsciiPrefix(text) : 1, 1);
        if (escaped.empty())
            appendLegalXml(target, text.substr(0, taken));
        else
            target.append(escaped);
        text.remove_prefix(taken);
    }
}

}  // namespace

std::size_t legalXmlPrefix(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text.size() - i >= 32 && arePrintable<4>(text.data() + i)) {
            i += 32;
            continue;
        }
        if (text.size() - i >= 8 && arePrintable<1>(text.data() + i)) {
            i += 8;
            continue;
        }
        const std::size_t length = legalCharacterLength(text.substr(i));
        if (length == 0) return i;
        i += length;
    }
    return i;
}

std::size_t cutOffCharacterLength(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(text.size(), 3); ++length) {
        const std::string_view tail = text.substr(text.size() - length);
        const auto first = static_cast<unsigned char>(tail.front());
        if (first < 0x80) return 0;
        if (first < 0xC0) continue;
        const std::size_t wanted = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        return length < wanted ? length : 0;
    }
    return 0;
}

void appendLegalXml(std::string& target, std::string_view text) {
    for (;;) {
        const std::size_t legal = legalXmlPrefix(text);
        target.append(text.substr(0, legal));
        text.remove_prefix(legal);
        if (text.empty()) return;
        const std::size_t length = utf8CharacterLength(text);
        if (length == 0)
            appendUtf8(target, 0xFFFD);
        else if (text.front() == '\f')
            target += ' ';
        text.remove_prefix(length == 0 ? 1 : length);
    }
}

void appendEscapedXml(std::string& target, std::string_view text) {
    appendEscaped(target, text, kPlainInText, escapeInText);
}

void appendEscapedXmlValue(std::string& target, std::string_view value) {
    appendEscaped(target, value, kPlainInValue, escapeInValue);
}

}  // namespace qs
