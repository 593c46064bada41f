#include "HTML2EM/ENXMLText.h"

#include <cstdint>
#include <cstring>

#include "Text/Utf8.h"

namespace qs {

namespace {

bool isLegalAscii(unsigned char c) { return c >= 0x20 || c == '\t' || c == '\n' || c == '\r'; }

// Eight at once: no byte has its high bit set or is below 0x20. A line end makes it look closer.
bool areEightPrintable(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    constexpr std::uint64_t high = 0x8080808080808080u, blanks = 0x2020202020202020u;
    return ((word | (word - blanks)) & high) == 0;
}

// The length of the legal character at the start; 0 when there is none.
std::size_t legalCharacterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return isLegalAscii(first) ? 1 : 0;
    if (text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF")) return 0;
    return utf8CharacterLength(text);
}

}  // namespace

std::size_t legalXmlPrefix(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text.size() - i >= 8 && areEightPrintable(text.data() + i)) {
            i += 8;
            continue;
        }
        const std::size_t length = legalCharacterLength(text.substr(i));
        if (length == 0) return i;
        i += length;
    }
    return i;
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

}  // namespace qs
