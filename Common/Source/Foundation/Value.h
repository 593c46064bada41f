// The value that settings, property lists, notifications and error details are made of: nil, boolean, integer, real,
// string (UTF-8), date, data, array, dictionary. Copies are cheap (containers are shared and immutable). Asking for
// another type than the one held never fails: it converts the way a settings store does, or answers zero, empty, nil.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

// Declared before the types of the same names, which GCC would take for hidden by these.
enum class ValueType { Nil, Boolean, Integer, Real, String, Date, Data, Array, Dictionary };

class Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;

struct Data {
    std::string bytes;
    friend bool operator==(const Data&, const Data&) = default;
};

class Value {
public:
    using Type = ValueType;

    Value() = default;
    Value(std::nullptr_t) {}
    Value(bool b) : held_(b) {}
    Value(int i) : held_(std::int64_t{i}) {}
    Value(std::int64_t i) : held_(i) {}
    Value(double d) : held_(d) {}
    Value(const char* s) : held_(std::string(s)) {}
    Value(std::string_view s) : held_(std::string(s)) {}
    Value(std::string s) : held_(std::move(s)) {}
    Value(Date d) : held_(d) {}
    Value(Data d) : held_(std::move(d)) {}
    Value(Array a);
    Value(Dictionary d);

    Type type() const { return static_cast<Type>(held_.index()); }
    bool isNil() const { return held_.index() == 0; }

    // Numbers and strings convert into each other: "YES", "true", "1" and any number but 0 are true.
    bool boolValue() const;
    std::int64_t integerValue() const;  // reals are cut towards zero, strings read as far as they are a number
    double doubleValue() const;
    std::string stringValue() const;    // numbers in decimal; anything else that is no string gives ""
    // Without a copy; empty unless a string.
    const std::string& string() const {
        const auto* text = std::get_if<std::string>(&held_);
        return text ? *text : emptyString();
    }
    std::optional<Date> dateValue() const;
    const Data& dataValue() const;  // empty unless a data value
    // Empty unless an array.
    const Array& array() const {
        const auto* array = std::get_if<std::shared_ptr<const Array>>(&held_);
        return array ? **array : emptyArray();
    }
    // Empty unless a dictionary.
    const Dictionary& dictionary() const {
        const auto* dictionary = std::get_if<std::shared_ptr<const Dictionary>>(&held_);
        return dictionary ? **dictionary : emptyDictionary();
    }
    const Value& operator[](std::string_view key) const;  // nil for a missing key or a value that is no dictionary

    // Same type and same content: the number 1 and the string "1" differ, and so do 1 and 1.0.
    friend bool operator==(const Value& a, const Value& b);

private:
    static const std::string& emptyString();
    static const Array& emptyArray();
    static const Dictionary& emptyDictionary();

    std::variant<std::monostate, bool, std::int64_t, double, std::string, Date, Data, std::shared_ptr<const Array>,
                 std::shared_ptr<const Dictionary>>
        held_;
};

}  // namespace qs
