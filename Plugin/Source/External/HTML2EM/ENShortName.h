// Names of elements and attributes as numbers. They are looked up for every tag of a document, and comparing texts
// would take longer than all else that the definition is asked.
#pragma once

#include <cstdint>
#include <string_view>

namespace qs {

// Different for different names of 1 to 8 letters; 0 for all others, which are rare and have to be compared.
constexpr std::uint64_t shortName(std::string_view name) {
    if (name.size() > 8) return 0;
    std::uint64_t number = 0;
    for (const char c : name)
        number = number << 8 | static_cast<unsigned char>(c);
    return number;
}

}  // namespace qs
