// JSON as the data of a template. null stays a value that says "nothing".
#pragma once

#include <cstddef>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

// Keys of a failure's user info: where the text stops making sense, counted from 1, a column is a character.
inline constexpr std::string_view kJsonLineKey = "Line";
inline constexpr std::string_view kJsonColumnKey = "Column";

// Bounded in depth.
Result<Value> valueFromJson(std::string_view text);

}  // namespace qs
