#include "Core/Store/StoredValue.h"

#include "Foundation/Json.h"
#include "Foundation/Log.h"

namespace qs {

std::string_view columnType(AttributeType type) {
    switch (type) {
    case AttributeType::Boolean:
    case AttributeType::Integer: return "INTEGER";
    case AttributeType::Real:
    case AttributeType::Date: return "REAL";
    default: return "TEXT";
    }
}

SqlValue sqlFrom(const Value& value, AttributeType type) {
    if (value.isNil()) return nullptr;
    switch (type) {
    case AttributeType::Boolean: return std::int64_t{value.boolValue()};
    case AttributeType::Integer: return value.integerValue();
    case AttributeType::Real: return value.doubleValue();
    case AttributeType::Date: return value.dateValue().value_or(Date{}).secondsSince1970;
    case AttributeType::String: return value.stringValue();
    default: return jsonFrom(value);
    }
}

Value valueFrom(const Query& row, int column, AttributeType type) {
    if (row.isNull(column)) return {};
    switch (type) {
    case AttributeType::Boolean: return row.integer(column) != 0;
    case AttributeType::Integer: return row.integer(column);
    case AttributeType::Real: return row.real(column);
    case AttributeType::Date: return Date{row.real(column)};
    case AttributeType::String: return row.text(column);
    default: break;
    }
    const auto json = valueFromJson(row.text(column));
    auto list = json ? valueOfType(*json, type) : std::nullopt;
    if (list) return std::move(*list);
    logError("a list of texts in the store can't be read; it stays there as it is");
    return {};
}

std::string jsonFrom(const Value& value) { return jsonText(value, JsonBytes::Any); }

Result<Value> valueFromJson(std::string_view text) { return parseJson(text, JsonNulls::Keep, JsonBytes::Any); }

std::optional<Value> valueFromJsonValue(const Value& json, AttributeType type) {
    const bool isNumber = json.type() == Value::Type::Integer || json.type() == Value::Type::Real;
    if (type == AttributeType::Date && isNumber) return valueOfType(Date{json.doubleValue()}, type);
    return valueOfType(json, type);
}

}  // namespace qs
