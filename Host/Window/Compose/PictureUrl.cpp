#include "Compose/PictureUrl.h"

#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/MimeTypes.h"

namespace qs {
std::string pictureUrl(std::string_view content) {
    const std::string_view type = pictureTypeOf(content);
    return type.empty() ? std::string() : "data:" + std::string(type) + ";base64," + base64EncodedString(content);
}

std::optional<std::string> pictureFromUrl(std::string_view url) {
    if (!startsWithIgnoringCase(url, "data:image/")) return {};
    const auto comma = url.find(',');
    if (comma == std::string_view::npos || asciiLowered(url.substr(0, comma)).find(";base64") == std::string::npos)
        return {};
    auto content = dataFromBase64String(url.substr(comma + 1));
    if (!content || pictureTypeOf(*content).empty()) return {};
    return content;
}

}  // namespace qs
