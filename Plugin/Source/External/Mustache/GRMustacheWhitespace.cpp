#include "GRMustacheWhitespace.h"

namespace qs {

namespace {

// Of the character that ends with the text's last byte.
std::size_t trailingWhitespaceLength(std::string_view text) {
    for (std::size_t length = 1; length <= 3 && length <= text.size(); ++length)
        if (mustacheWhitespaceLength(text.substr(text.size() - length)) == length) return length;
    return 0;
}

}  // namespace

std::size_t mustacheWhitespaceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned first = byte(0);
    if (first == ' ' || (first >= '\t' && first <= '\r')) return 1;
    if (first < 0xC2 || first > 0xE3) return 0;
    if (first == 0xC2) return byte(1) == 0x85 || byte(1) == 0xA0 ? 2 : 0;  // next line, no-break space
    const unsigned rest = byte(1) << 8 | byte(2);
    if (first == 0xE1) return rest == 0x9A80 ? 3 : 0;  // Ogham space mark
    if (first == 0xE3) return rest == 0x8080 ? 3 : 0;  // ideographic space
    if (first != 0xE2) return 0;
    const bool isSpace = rest >= 0x8080 && rest <= 0x808A;      // the spaces of typography
    const bool isSeparator = rest == 0x80A8 || rest == 0x80A9;  // of lines and paragraphs
    return isSpace || isSeparator || rest == 0x80AF || rest == 0x819F ? 3 : 0;
}

std::string_view mustacheTrimmed(std::string_view text) {
    while (const std::size_t length = mustacheWhitespaceLength(text))
        text.remove_prefix(length);
    while (const std::size_t length = trailingWhitespaceLength(text))
        text.remove_suffix(length);
    return text;
}

std::size_t mustacheFindWhitespace(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at)
        if (mustacheWhitespaceLength(text.substr(at)) > 0) return at;
    return std::string_view::npos;
}

}  // namespace qs
