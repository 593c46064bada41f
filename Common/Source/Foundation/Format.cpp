#include "Foundation/Format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

namespace qs {

namespace {

constexpr std::size_t kWidestField = 512;  // formats come from translations too; a slip there must not cost memory

struct Placeholder {
    std::size_t argument = 0;  // from 1; 0 for "the next one"
    bool left = false, zeros = false, plus = false;
    std::size_t width = 0;
    std::optional<std::size_t> precision;
    char conversion = 0;
};

// Walks over the text of one placeholder, behind its percent sign.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    // Nothing if the text is no placeholder that we know.
    std::optional<Placeholder> read() {
        Placeholder p;
        const std::size_t start = at_;
        if (const std::size_t number = readNumber(); number > 0 && take('$'))
            p.argument = number;
        else
            at_ = start;
        readFlags(p);
        p.width = readNumber();
        if (take('.')) p.precision = readNumber();
        while (at_ < text_.size() && std::string_view("hlqLzjt").find(text_[at_]) != std::string_view::npos)
            ++at_;
        if (at_ == text_.size() || std::string_view("@diufFsxX").find(text_[at_]) == std::string_view::npos) return {};
        p.conversion = text_[at_++];
        return p;
    }
    std::size_t length() const { return at_; }

private:
    bool take(char c) {
        if (at_ == text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }
    std::size_t readNumber() {
        std::size_t number = 0;
        for (; at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9'; ++at_)
            number = std::min(number * 10 + static_cast<std::size_t>(text_[at_] - '0'), kWidestField);
        return number;
    }
    void readFlags(Placeholder& p) {
        for (;; ++at_) {
            if (at_ == text_.size()) return;
            if (text_[at_] == '-')
                p.left = true;
            else if (text_[at_] == '0')
                p.zeros = true;
            else if (text_[at_] == '+')
                p.plus = true;
            else if (text_[at_] != ' ' && text_[at_] != '#')
                return;
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::string unsignedText(std::uint64_t number, int base) {
    std::array<char, 24> digits;
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number, base).ptr};
}

std::string fixedText(double number, std::size_t decimals) {
    std::array<char, 2 * kWidestField> digits;  // the greatest double has 309 digits before the point
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                            std::chars_format::fixed, static_cast<int>(decimals));
    return error == std::errc() ? std::string(digits.data(), end) : std::string();
}

std::string described(const Value& value);

// Days since 1970-01-01 as year, month, day (proleptic Gregorian); the description of a date needs no locale.
std::string describedDate(Date date) {
    if (!std::isfinite(date.secondsSince1970) || std::abs(date.secondsSince1970) > 1e14) return "(date)";
    const auto seconds = static_cast<std::int64_t>(std::floor(date.secondsSince1970));
    const std::int64_t days = (seconds >= 0 ? seconds : seconds - 86399) / 86400;
    const std::int64_t ofDay = seconds - days * 86400;
    const std::int64_t z = days + 719468, era = (z >= 0 ? z : z - 146096) / 146097, ofEra = z - era * 146097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100),
                       mp = (5 * ofYear + 2) / 153;
    const std::int64_t day = ofYear - (153 * mp + 2) / 5 + 1, month = mp < 10 ? mp + 3 : mp - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    return stringWithFormat("%04ld-%02ld-%02ld %02ld:%02ld:%02ld +0000",
                            {year, month, day, ofDay / 3600, ofDay / 60 % 60, ofDay % 60});
}

std::string describedContainer(const Value& value) {
    std::string text;
    for (const Value& element : value.array())
        text += (text.empty() ? "" : ", ") + described(element);
    if (value.type() == Value::Type::Array) return "(" + text + ")";
    for (const auto& [key, element] : value.dictionary())
        text += (text.empty() ? "" : " ") + key + " = " + described(element) + ";";
    return "{" + text + "}";
}

std::string described(const Value& value) {
    switch (value.type()) {
    case Value::Type::Nil: return "(null)";
    case Value::Type::Date: return describedDate(*value.dateValue());
    case Value::Type::Data: return "<" + std::to_string(value.dataValue().bytes.size()) + " bytes>";
    case Value::Type::Array:
    case Value::Type::Dictionary: return describedContainer(value);
    default: return value.stringValue();
    }
}

std::string padded(std::string text, const Placeholder& p, bool isNumber) {
    if (text.size() >= p.width) return text;
    const std::size_t missing = p.width - text.size();
    if (p.left) return text.append(missing, ' ');
    if (p.zeros && isNumber) return text.insert(text.starts_with('-') || text.starts_with('+') ? 1 : 0, missing, '0');
    return text.insert(0, missing, ' ');
}

std::string numberText(const Value& value, const Placeholder& p) {
    std::string text;
    switch (p.conversion) {
    case 'u': text = unsignedText(static_cast<std::uint64_t>(value.integerValue()), 10); break;
    case 'x': text = unsignedText(static_cast<std::uint64_t>(value.integerValue()), 16); break;
    case 'X':
        text = unsignedText(static_cast<std::uint64_t>(value.integerValue()), 16);
        std::transform(text.begin(), text.end(), text.begin(),
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
        break;
    case 'f':
    case 'F': text = fixedText(value.doubleValue(), p.precision.value_or(6)); break;
    default: text = std::to_string(value.integerValue()); break;
    }
    if (p.plus && !text.starts_with('-')) text.insert(0, "+");
    return padded(std::move(text), p, true);
}

std::string filled(const Placeholder& p, const Value* argument) {
    if (!argument) return "(null)";
    if (p.conversion == '@') return padded(described(*argument), p, false);
    if (p.conversion != 's') return numberText(*argument, p);
    std::string text = described(*argument);
    if (p.precision && *p.precision < text.size()) text.resize(*p.precision);
    return padded(std::move(text), p, false);
}

}  // namespace

std::string stringWithFormat(std::string_view format, std::initializer_list<Value> arguments) {
    return stringWithFormat(format, std::span<const Value>(arguments.begin(), arguments.size()));
}

std::string stringWithFormat(std::string_view format, std::span<const Value> arguments) {
    std::string text;
    std::size_t next = 0;
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '%') {
            text += format[at];
            continue;
        }
        if (at + 1 < format.size() && format[at + 1] == '%') {
            text += '%';
            ++at;
            continue;
        }
        Reader reader(format.substr(at + 1));
        const auto placeholder = reader.read();
        if (!placeholder) {  // a lone percent sign stays as it is
            text += '%';
            continue;
        }
        const std::size_t index = placeholder->argument > 0 ? placeholder->argument - 1 : next++;
        text += filled(*placeholder, index < arguments.size() ? &arguments[index] : nullptr);
        at += reader.length();
    }
    return text;
}

}  // namespace qs
