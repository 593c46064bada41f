// What kind of content a file holds: by its name, from the system's MIME database (shared-mime-info), or by its first
// bytes for the few pictures that may stand inside a message. Safe from every thread.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// "application/octet-stream" for what the database does not know.
std::string mimeTypeForFileName(std::string_view fileName);
// "image/png", "image/jpeg", "image/gif" or "image/webp"; empty for anything else, whatever its name says.
std::string_view pictureTypeOf(std::string_view content);

}  // namespace qs
