#include "Text/Ascii.h"

#include <algorithm>

namespace qs {

std::string asciiLowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), asciiLower);
    return lowered;
}

std::string asciiUppered(std::string_view text) {
    std::string uppered(text);
    std::transform(uppered.begin(), uppered.end(), uppered.begin(), asciiUpper);
    return uppered;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return equalsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

std::string_view trimmedAscii(std::string_view text) {
    while (!text.empty() && isAsciiSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isAsciiSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

}  // namespace qs
