// JSON as services speak it (RFC 8259), both ways.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

// In the user info of an error: where the text stops making sense, counted from 1, a column being a character; and what
// is wrong there, without the place.
inline constexpr std::string_view kJsonLineKey = "Line", kJsonColumnKey = "Column", kJsonFaultKey = "Fault";

enum class JsonNulls { Keep, Drop };  // Drop leaves out the keys of objects whose value is null; arrays keep theirs

// Bytes that are no UTF-8: an error when read and replaced when written, or kept as they are both ways, which is for
// our own records: they must come back as they were.
enum class JsonBytes { OnlyUtf8, Any };

// Bounded in depth (64); bad input gives an error that names line and column. Integers beyond 64 bits become reals.
Result<Value> parseJson(std::string_view text, JsonNulls nulls = JsonNulls::Keep,
                        JsonBytes bytes = JsonBytes::OnlyUtf8);
// On one line, keys in their order. Dates become their seconds since 1970, data its base64; numbers that JSON can't
// hold become null.
std::string jsonText(const Value& value, JsonBytes bytes = JsonBytes::OnlyUtf8);

}  // namespace qs
