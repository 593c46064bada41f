// Base64 with the standard alphabet (RFC 4648, section 4).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

std::string base64EncodedString(std::string_view bytes);
// With CR LF between lines of 64 characters, which hold 48 bytes each; no line end behind the last.
std::string base64EncodedStringWithLineBreaks(std::string_view bytes);
// Blanks and line ends anywhere are skipped, and padding may be missing. Nothing for any other character, for something
// behind the padding, and for a lone character at the end, which makes no byte.
std::optional<std::string> dataFromBase64String(std::string_view text);

// The same for a text that is first written in a character set, such as "utf-8" or "iso-8859-1" (see Charsets.h).
// Nothing when the set is unknown or has no form for a character; in the other direction also when the base64 is
// broken.
std::optional<std::string> stringByEncodingBase64(std::string_view text, std::string_view withCharacterEncoding);
std::optional<std::string> stringByDecodingBase64(std::string_view base64, std::string_view withCharacterEncoding);

}  // namespace qs
