#include "DataUrl.h"

#include <openssl/evp.h>

namespace qs {

bool isPictureType(std::string_view mimeType) {
    for (const std::string_view type : {"image/png", "image/jpeg", "image/gif", "image/webp", "image/bmp"})
        if (mimeType == type) return true;
    return false;
}

std::string dataUrl(std::string_view mimeType, std::string_view content) {
    std::string encoded(4 * ((content.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                        reinterpret_cast<const unsigned char*>(content.data()), static_cast<int>(content.size()));
    encoded.resize(static_cast<std::size_t>(length));
    return "data:" + std::string(mimeType) + ";base64," + encoded;
}

}  // namespace qs
