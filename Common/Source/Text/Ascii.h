// Letters, blanks and comparisons in ASCII alone: what mail headers, markup and protocols are defined in. Bytes above
// 127 pass unchanged, whatever the locale says.
#pragma once

#include <string>
#include <string_view>

namespace qs {

constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char asciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }
constexpr bool isAsciiLetter(char c) { return asciiLower(c) >= 'a' && asciiLower(c) <= 'z'; }
constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isAsciiSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
// -1 for what is no hexadecimal digit.
constexpr int hexDigitValue(char c) {
    const char lower = asciiLower(c);
    return isAsciiDigit(c) ? c - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}
constexpr bool isAsciiControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

std::string asciiLowered(std::string_view text);
std::string asciiUppered(std::string_view text);
bool equalsIgnoringCase(std::string_view a, std::string_view b);
bool startsWithIgnoringCase(std::string_view text, std::string_view prefix);
std::string_view trimmedAscii(std::string_view text);  // without blanks at both ends

}  // namespace qs
