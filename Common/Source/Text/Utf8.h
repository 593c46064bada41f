// UTF-8 as it comes from outside: perhaps broken.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qs {

// The length of the well-formed character at the start of the text; 0 when there is none (or no text).
std::size_t utf8CharacterLength(std::string_view text);
// The character at the start; U+FFFD when it is not well formed.
char32_t firstUtf8Character(std::string_view text);
bool isValidUtf8(std::string_view text);
// Each byte that is no part of a well-formed character becomes U+FFFD.
std::string validUtf8(std::string_view text);
// Surrogates and numbers beyond U+10FFFF become U+FFFD.
void appendUtf8(std::string& text, char32_t character);
// Every byte a character of its own, as in ISO 8859-1.
std::string utf8FromLatin1(std::string_view bytes);

}  // namespace qs
