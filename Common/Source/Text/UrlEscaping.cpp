#include "Text/UrlEscaping.h"

namespace qs {

std::string escapedForUrl(std::string_view text) {
    std::string result;
    for (const char c : text) {
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos)
            result += c;
        else
            result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return result;
}

}  // namespace qs
