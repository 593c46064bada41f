#include "Foundation/Json.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cmath>

#include "Text/Base64.h"
#include "Text/Utf8.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr std::size_t kDeepest = 64;

Value valueOf(const json::value& from, JsonNulls nulls) {
    switch (from.kind()) {
    case json::kind::null: return {};
    case json::kind::bool_: return from.get_bool();
    case json::kind::int64: return from.get_int64();
    case json::kind::uint64: return static_cast<double>(from.get_uint64());
    case json::kind::double_: return from.get_double();
    case json::kind::string: return std::string_view(from.get_string().data(), from.get_string().size());
    case json::kind::array: {
        Array array;
        for (const json::value& each : from.get_array())
            array.push_back(valueOf(each, nulls));
        return array;
    }
    case json::kind::object: {
        Dictionary dictionary;
        for (const auto& field : from.get_object())
            if (nulls == JsonNulls::Keep || !field.value().is_null())
                dictionary[std::string(field.key())] = valueOf(field.value(), nulls);
        return dictionary;
    }
    }
    return {};
}

std::string outward(std::string text, JsonBytes bytes) {
    return bytes == JsonBytes::Any ? std::move(text) : validUtf8(text);
}

json::value jsonOf(const Value& value, JsonBytes bytes) {
    switch (value.type()) {
    case Value::Type::Nil: break;
    case Value::Type::Boolean: return value.boolValue();
    case Value::Type::Integer: return value.integerValue();
    case Value::Type::Real:
        if (std::isfinite(value.doubleValue())) return value.doubleValue();
        break;
    case Value::Type::Date: return value.dateValue().value_or(Date()).secondsSince1970;
    case Value::Type::String: return json::value(outward(value.stringValue(), bytes));
    case Value::Type::Data: return json::value(base64EncodedString(value.dataValue().bytes));
    case Value::Type::Array: {
        json::array array;
        for (const Value& each : value.array())
            array.push_back(jsonOf(each, bytes));
        return array;
    }
    case Value::Type::Dictionary: {
        json::object object;
        for (const auto& [key, each] : value.dictionary())
            object[outward(key, bytes)] = jsonOf(each, bytes);
        return object;
    }
    }
    return nullptr;
}

tl::unexpected<Error> failureAt(std::string_view text, std::size_t at, const json::error_code& wrong) {
    const std::string_view before = text.substr(0, at);
    const std::string_view lineBefore = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0
    const auto isFirstByte = [](char c) { return (c & '\xC0') != '\x80'; };
    const std::int64_t line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::int64_t column = 1 + std::count_if(lineBefore.begin(), lineBefore.end(), isFirstByte);
    Error error{"com.tallowbay.Quillstead.json", wrong.value(),
                "This is no JSON at line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
                    wrong.message() + ".",
                {}};
    error.userInfo.emplace(kJsonLineKey, line);
    error.userInfo.emplace(kJsonColumnKey, column);
    error.userInfo.emplace(kJsonFaultKey, wrong.message());
    return failure(std::move(error));
}

}  // namespace

Result<Value> parseJson(std::string_view text, JsonNulls nulls, JsonBytes bytes) {
    json::parse_options options;
    options.max_depth = kDeepest;
    options.allow_invalid_utf8 = bytes == JsonBytes::Any;
    json::stream_parser parser(json::storage_ptr(), options);
    json::error_code wrong;
    std::size_t read = parser.write_some(text.data(), text.size(), wrong);
    if (!wrong) {
        read = std::min(text.find_first_not_of(" \t\n\r", read), text.size());
        if (read < text.size()) wrong = json::error::extra_data;
        else parser.finish(wrong);
    }
    if (wrong) return failureAt(text, read, wrong);
    return valueOf(parser.release(), nulls);
}

std::string jsonText(const Value& value, JsonBytes bytes) { return json::serialize(jsonOf(value, bytes)); }

}  // namespace qs
