#include "Core/Store/StoredValue.h"

#include <boost/json.hpp>

#include "Foundation/Log.h"

namespace qs {

namespace {

namespace json = boost::json;

constexpr std::size_t kDeepest = 64;

json::value toJson(const Value& value) {
    switch (value.type()) {
    case Value::Type::Boolean: return value.boolValue();
    case Value::Type::Integer: return value.integerValue();
    case Value::Type::Real: return value.doubleValue();
    case Value::Type::String: return json::string(value.stringValue());
    case Value::Type::Date: return value.dateValue()->secondsSince1970;
    case Value::Type::Array: {
        json::array elements;
        for (const Value& each : value.array())
            elements.push_back(toJson(each));
        return elements;
    }
    case Value::Type::Dictionary: {
        json::object entries;
        for (const auto& [key, each] : value.dictionary())
            entries[key] = toJson(each);
        return entries;
    }
    case Value::Type::Nil:
    case Value::Type::Data: break;  // objects hold no data
    }
    return nullptr;
}

Value fromJson(const json::value& value) {
    switch (value.kind()) {
    case json::kind::null: return {};
    case json::kind::bool_: return value.get_bool();
    case json::kind::int64: return value.get_int64();
    case json::kind::uint64: return static_cast<double>(value.get_uint64());
    case json::kind::double_: return value.get_double();
    case json::kind::string: return std::string(value.get_string());
    case json::kind::array: {
        Array elements;
        for (const auto& each : value.get_array())
            elements.push_back(fromJson(each));
        return elements;
    }
    case json::kind::object: {
        Dictionary entries;
        for (const auto& [key, each] : value.get_object())
            entries[std::string(key)] = fromJson(each);
        return entries;
    }
    }
    return {};
}

}  // namespace

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

std::string jsonFrom(const Value& value) { return json::serialize(toJson(value)); }

Result<Value> valueFromJson(std::string_view text) {
    json::parse_options options;
    options.max_depth = kDeepest;
    options.allow_invalid_utf8 = true;
    boost::system::error_code error;
    const json::value value = json::parse({text.data(), text.size()}, error, {}, options);
    if (error) return failure("JSON", error.value(), "This is not a text in the form JSON: " + error.message() + ".");
    return fromJson(value);
}

std::optional<Value> valueFromJsonValue(const Value& json, AttributeType type) {
    const bool isNumber = json.type() == Value::Type::Integer || json.type() == Value::Type::Real;
    if (type == AttributeType::Date && isNumber) return valueOfType(Date{json.doubleValue()}, type);
    return valueOfType(json, type);
}

}  // namespace qs
