// File names out of mail: shown, offered for saving, written into headers. All of them are a stranger's choice.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// The last part of a path, without control characters, characters that turn the writing direction, and leading dots;
// at most 200 bytes, the extension kept. Empty when nothing is left.
std::string safeFileName(std::string_view name);
// "png" for "image/png"; empty when unknown.
std::string extensionForMimeType(std::string_view mimeType);

}  // namespace qs
