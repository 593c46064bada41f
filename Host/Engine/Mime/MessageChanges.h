// What is changed in messages on their way, piece by piece, so that a large one never lies in memory as a whole.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Foundation/ByteSource.h"

namespace qs {

// Every kind of line end as CR LF, one at the end too; no NUL.
std::string withCrLf(std::string_view text);
ByteSource withCrLf(ByteSource text);

// The message with its header's fields as `change` gives them back: each whole with its line ends, CR LF everywhere;
// an empty answer leaves it out. What follows the header passes. Holds one field at a time.
using FieldChange = std::function<std::string(std::string_view field)>;
ByteSource withChangedHeader(ByteSource message, FieldChange change);
std::string withChangedHeader(std::string_view message, FieldChange change);
std::string_view fieldName(std::string_view field);

}  // namespace qs
