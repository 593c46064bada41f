// Pictures as data: URLs (https://www.rfc-editor.org/rfc/rfc2397), the only form in which the page may show a message's
// own pictures. Only the kinds that pictureTypeOf() knows.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

std::string pictureUrl(std::string_view content);  // empty for what is no picture
// The picture's octets; nothing for another URL, broken base64 or what is no picture.
std::optional<std::string> pictureFromUrl(std::string_view url);

}  // namespace qs
