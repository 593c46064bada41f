// Pictures of a message as data addresses, the only ones that a displayed message may have.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// Bitmaps that browsers show. SVG is none: it is a document of its own.
bool isPictureType(std::string_view mimeType);
std::string dataUrl(std::string_view mimeType, std::string_view content);

}  // namespace qs
