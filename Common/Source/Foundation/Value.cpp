#include "Foundation/Value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace qs {

namespace {

std::string_view withoutLeadingSpace(std::string_view text) {
    const auto start = text.find_first_not_of(" \t\r\n");
    return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

// from_chars knows no plus sign.
std::string_view numberPart(std::string_view text) {
    text = withoutLeadingSpace(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    return text;
}

std::int64_t integerFrom(std::string_view text) {
    text = numberPart(text);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc::result_out_of_range) return number;
    return text.front() == '-' ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

double realFrom(std::string_view text) {
    text = numberPart(text);
    // "inf" and "nan" are words here, not numbers.
    const auto first = text.find_first_not_of('-');
    if (first == std::string_view::npos || (text[first] != '.' && (text[first] < '0' || text[first] > '9'))) return 0;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc::result_out_of_range) return number;
    return text.front() == '-' ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

std::int64_t integerFrom(double real) {
    if (std::isnan(real)) return 0;
    // 2^63 as a double is one more than the greatest integer.
    if (real >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
    if (real < -0x1p63) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(real);
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowercase) {
    return std::equal(text.begin(), text.end(), lowercase.begin(), lowercase.end(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

bool truthOf(std::string_view text) {
    if (realFrom(text) != 0) return true;
    text = withoutLeadingSpace(text);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n'))
        text.remove_suffix(1);
    for (std::string_view yes : {"yes", "true", "y", "t"})
        if (equalsIgnoringCase(text, yes)) return true;
    return false;
}

// The shortest digits that read back as the same number; with a power of ten only where the number is very great or
// small.
std::string decimal(double number) {
    const double size = std::abs(number);
    const bool isPlain = size == 0 || (size >= 1e-4 && size < 1e21);
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number,
                                   isPlain ? std::chars_format::fixed : std::chars_format::scientific)
                         .ptr;
    return {text.data(), end};
}

}  // namespace

Value::Value(Array a) : held_(std::make_shared<const Array>(std::move(a))) {}
Value::Value(Dictionary d) : held_(std::make_shared<const Dictionary>(std::move(d))) {}

bool Value::boolValue() const {
    switch (type()) {
    case Type::Boolean: return std::get<bool>(held_);
    case Type::Integer: return std::get<std::int64_t>(held_) != 0;
    case Type::Real: return std::get<double>(held_) != 0;
    case Type::String: return truthOf(std::get<std::string>(held_));
    default: return false;
    }
}

std::int64_t Value::integerValue() const {
    switch (type()) {
    case Type::Boolean: return std::get<bool>(held_) ? 1 : 0;
    case Type::Integer: return std::get<std::int64_t>(held_);
    case Type::Real: return integerFrom(std::get<double>(held_));
    case Type::String: return integerFrom(std::string_view(std::get<std::string>(held_)));
    default: return 0;
    }
}

double Value::doubleValue() const {
    switch (type()) {
    case Type::Boolean: return std::get<bool>(held_) ? 1 : 0;
    case Type::Integer: return static_cast<double>(std::get<std::int64_t>(held_));
    case Type::Real: return std::get<double>(held_);
    case Type::String: return realFrom(std::get<std::string>(held_));
    default: return 0;
    }
}

std::string Value::stringValue() const {
    switch (type()) {
    case Type::Boolean: return std::get<bool>(held_) ? "1" : "0";
    case Type::Integer: return std::to_string(std::get<std::int64_t>(held_));
    case Type::Real: return decimal(std::get<double>(held_));
    case Type::String: return std::get<std::string>(held_);
    default: return {};
    }
}

const std::string& Value::emptyString() {
    static const std::string none;
    return none;
}

std::optional<Date> Value::dateValue() const {
    const Date* date = std::get_if<Date>(&held_);
    return date ? std::optional<Date>(*date) : std::nullopt;
}

const Data& Value::dataValue() const {
    static const Data none;
    const Data* data = std::get_if<Data>(&held_);
    return data ? *data : none;
}

const Array& Value::emptyArray() {
    static const Array none;
    return none;
}

const Dictionary& Value::emptyDictionary() {
    static const Dictionary none;
    return none;
}

const Value& Value::operator[](std::string_view key) const {
    static const Value nil;
    const Dictionary& entries = dictionary();
    const auto found = entries.find(key);
    return found == entries.end() ? nil : found->second;
}

bool operator==(const Value& a, const Value& b) {
    if (a.type() != b.type()) return false;
    if (a.type() == Value::Type::Array) return a.array() == b.array();
    if (a.type() == Value::Type::Dictionary) return a.dictionary() == b.dictionary();
    return a.held_ == b.held_;
}

}  // namespace qs
