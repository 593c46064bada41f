// Property lists as text: XML form both ways, binary form read. The format of settings, Info.plist and shipped tables.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

// Bounded in depth and size; hostile or damaged input gives an error that says what is wrong.
Result<Value> parsePropertyList(std::string_view text);
// Values that a property list cannot hold (nil) are left out of containers. Dates are written in whole
// seconds: the format knows no fractions.
std::string xmlPropertyList(const Value& value);

}  // namespace qs
