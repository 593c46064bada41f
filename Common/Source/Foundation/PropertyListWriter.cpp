// Writes the XML form. The library's own writer keeps neither all digits of a real nor dates after 2068.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "Foundation/Format.h"
#include "Foundation/PropertyList.h"

namespace qs {

namespace {

// The length of the well-formed UTF-8 character at the start of a text; 0 if there is none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const auto continues = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
    const unsigned first = byte(0), second = byte(1);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first < 0xE0) return continues(1) ? 2 : 0;
    if (first >= 0xE0 && first < 0xF0) {
        const bool overlong = first == 0xE0 && second < 0xA0, surrogate = first == 0xED && second >= 0xA0;
        return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
    }
    const bool outside = (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return first >= 0xF0 && first < 0xF5 && continues(1) && continues(2) && continues(3) && !outside ? 4 : 0;
}

// Control characters pass as they are, as key equivalents consist of them. What no reader could take (a zero byte,
// broken UTF-8) becomes the replacement character.
std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = text[0] == '\0' ? 0 : characterLength(text);
        if (length == 0)
            out += "\uFFFD";
        else if (text[0] == '&')
            out += "&amp;";
        else if (text[0] == '<')
            out += "&lt;";
        else if (text[0] == '>')
            out += "&gt;";
        else if (text[0] == '\r')
            out += "&#13;";
        else
            out += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string base64(std::string_view bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t k) {
            return i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u;
        };
        const unsigned bits = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (std::size_t k = 0; k < 4; ++k)
            out += i + k > bytes.size() ? '=' : digits[bits >> (18 - 6 * k) & 63];
    }
    return out;
}

std::string dateText(Date date) {
    constexpr double kYear1 = -62'135'596'800, kEndOfYear9999 = 253'402'300'799;  // the form has four digits
    const double bounded =
        std::isnan(date.secondsSince1970) ? 0 : std::clamp(date.secondsSince1970, kYear1, kEndOfYear9999);
    const std::chrono::sys_seconds time{std::chrono::seconds(static_cast<std::int64_t>(std::floor(bounded)))};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day calendar{day};
    const std::int64_t seconds = (time - day).count();
    return stringWithFormat(
        "%04d-%02d-%02dT%02d:%02d:%02dZ",
        {static_cast<int>(calendar.year()), static_cast<int>(static_cast<unsigned>(calendar.month())),
         static_cast<int>(static_cast<unsigned>(calendar.day())), seconds / 3600, seconds / 60 % 60, seconds % 60});
}

std::string realText(double real) {
    if (std::isnan(real)) return "nan";
    return std::isinf(real) ? (real < 0 ? "-infinity" : "+infinity") : Value(real).stringValue();
}

void append(std::string& out, const Value& value, std::size_t depth);

void appendContainer(std::string& out, const Value& value, std::size_t depth) {
    const std::string_view name = value.type() == Value::Type::Array ? "array" : "dict";
    const std::string indent(depth, '\t');
    out.append(indent).append("<").append(name).append(">\n");
    for (const Value& element : value.array())
        append(out, element, depth + 1);
    for (const auto& [key, element] : value.dictionary()) {
        if (element.isNil()) continue;
        out.append(indent).append("\t<key>").append(escaped(key)).append("</key>\n");
        append(out, element, depth + 1);
    }
    out.append(indent).append("</").append(name).append(">\n");
}

void append(std::string& out, const Value& value, std::size_t depth) {
    const auto element = [&](std::string_view name, std::string_view content) {
        out.append(depth, '\t').append("<").append(name).append(">").append(content);
        out.append("</").append(name).append(">\n");
    };
    switch (value.type()) {
    case Value::Type::Nil: break;
    case Value::Type::Boolean: out.append(depth, '\t').append(value.boolValue() ? "<true/>\n" : "<false/>\n"); break;
    case Value::Type::Integer: element("integer", value.stringValue()); break;
    case Value::Type::Real: element("real", realText(value.doubleValue())); break;
    case Value::Type::String: element("string", escaped(value.stringValue())); break;
    case Value::Type::Date: element("date", dateText(*value.dateValue())); break;
    case Value::Type::Data: element("data", base64(value.dataValue().bytes)); break;
    case Value::Type::Array:
    case Value::Type::Dictionary: appendContainer(out, value, depth); break;
    }
}

}  // namespace

std::string xmlPropertyList(const Value& value) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
    append(out, value, 0);
    return out + "</plist>\n";
}

}  // namespace qs
