// Kinds of content: by a file's name and the other way round, from the system's MIME database (shared-mime-info), or by
// the first bytes for the few pictures that may stand inside a message. Safe from every thread.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// `fallback` for what the database does not know.
std::string mimeTypeForFileName(std::string_view fileName, std::string_view fallback = "application/octet-stream");
bool isKnownMimeType(std::string_view type);
// The customary one, without its dot; empty for a type that is unknown or has none.
std::string extensionForMimeType(std::string_view type);
// "image/png", "image/jpeg", "image/gif" or "image/webp"; empty for anything else, whatever its name says.
std::string_view pictureTypeOf(std::string_view content);

}  // namespace qs
