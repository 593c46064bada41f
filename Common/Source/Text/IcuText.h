// Texts on their way into ICU and back. For source files only: no header includes this one.
#pragma once

#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace qs {

// Broken bytes become U+FFFD. ICU counts in 32 bits, so of a text beyond 256 MiB only the start is taken.
inline icu::UnicodeString icuText(std::string_view text) {
    constexpr std::size_t kLongest = std::size_t{256} << 20;
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(std::min(text.size(), kLongest))});
}

inline std::string utf8Text(const icu::UnicodeString& text) {
    std::string utf8;
    text.toUTF8String(utf8);
    return utf8;
}

}  // namespace qs
