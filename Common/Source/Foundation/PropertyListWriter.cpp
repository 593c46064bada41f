// Writes the XML form. The library's own writer keeps neither all digits of a real nor dates after 2068.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "Foundation/Format.h"
#include "Foundation/PropertyList.h"
#include "Text/Base64.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// Control characters pass as they are, as key equivalents consist of them. What no reader could take (a zero byte,
// broken UTF-8) becomes the replacement character.
std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = text[0] == '\0' ? 0 : utf8CharacterLength(text);
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
    case Value::Type::Data: element("data", base64EncodedString(value.dataValue().bytes)); break;
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
