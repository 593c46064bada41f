// What a property list must pass before the library reads it: bounds on size, depth and expansion, and the mistakes
// that the library would read as zero without a word. Private to PropertyList.cpp.
#pragma once

#include <optional>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

inline constexpr std::size_t kLargestPropertyList = 32u << 20;  // bytes, in the XML form and expanded
inline constexpr std::size_t kDeepestPropertyList = 128;

// `problem` says what is wrong, as the end of a sentence.
tl::unexpected<Error> damagedPropertyList(std::string_view problem);
// Fails with the line of the first mistake.
Result<void> checkXmlPropertyList(std::string_view text);
Result<void> checkBinaryPropertyList(std::string_view bytes);

// "2026-11-22T10:00:00Z"
std::optional<Date> dateFromPropertyListText(std::string_view text);

}  // namespace qs
