// The text form that address cards and calendars share: lines of "NAME;PARAMETER=x:value", folded where they are long,
// with escaped texts (RFC 6350 section 3, RFC 5545 section 3.1). Thread-safe.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qs {

// Cut between characters into pieces of at most 75 bytes; with `lineEnd` behind each.
std::string foldedContentLine(std::string_view line, std::string_view lineEnd = "\r\n");
// Where the character stands first outside of double quotes; npos for nowhere.
std::size_t findUnquoted(std::string_view line, char wanted);
// A text as a value: backslash, comma, semicolon and line ends escaped, other control characters left out.
std::string escapedContentText(std::string_view text);
std::string unescapedContentText(std::string_view value);

}  // namespace qs
