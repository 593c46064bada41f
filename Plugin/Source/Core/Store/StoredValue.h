// The forms in which values of objects are written: columns of a row, and JSON for lists of texts and for records
// outside the database. Private to the store.
#pragma once

#include <string>
#include <string_view>

#include "Core/Store/ObjectModel.h"
#include "Database/Database.h"

namespace qs {

// Booleans are 0 and 1, dates are seconds since 1970, lists of texts are JSON.
std::string_view columnType(AttributeType type);
SqlValue sqlFrom(const Value& value, AttributeType type);
// Nil for NULL, and, with a log line, for a list that is no JSON of its type.
Value valueFrom(const Query& row, int column, AttributeType type);

// Nothing is lost, be it control characters or broken UTF-8. Dates become seconds since 1970.
std::string jsonFrom(const Value& value);
Result<Value> valueFromJson(std::string_view text);
// From a value that was JSON; nothing for one that does not fit the type.
std::optional<Value> valueFromJsonValue(const Value& json, AttributeType type);

}  // namespace qs
