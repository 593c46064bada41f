#include "DataUrl.h"

#include "Text/Base64.h"

namespace qs {

bool isPictureType(std::string_view mimeType) {
    for (const std::string_view type : {"image/png", "image/jpeg", "image/gif", "image/webp", "image/bmp"})
        if (mimeType == type) return true;
    return false;
}

std::string dataUrl(std::string_view mimeType, std::string_view content) {
    return "data:" + std::string(mimeType) + ";base64," + base64EncodedString(content);
}

}  // namespace qs
