#include "Text/ByteCount.h"

namespace qs {

std::string megabytesText(std::uint64_t bytes) {
    const std::uint64_t tenths = bytes / 100'000 + (bytes % 100'000 >= 50'000 ? 1 : 0);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

}  // namespace qs
