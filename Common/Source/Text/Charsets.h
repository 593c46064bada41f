// Texts in character sets other than UTF-8, by the names that mail uses ("iso-8859-1", "utf-8", "gb2312"). Thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

// UTF-8 of bytes that claim to be in a set, whatever they are: what has no meaning becomes U+FFFD, and a set that is
// unknown or missing is guessed. At most 256 MiB are read.
std::string utf8FromCharset(std::string_view bytes, std::string_view charset);

// Strictly: nothing for an unknown set, for bytes that are wrong in it, and for a character that it has no form for.
std::optional<std::string> textInCharset(std::string_view bytes, std::string_view charset);
std::optional<std::string> bytesInCharset(std::string_view text, std::string_view charset);

}  // namespace qs
