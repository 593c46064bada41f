#include "Foundation/PropertyListCheck.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <vector>

#include "Foundation/Format.h"

namespace qs {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view spaces = " \t\r\n";
    const auto start = text.find_first_not_of(spaces);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(spaces) - start + 1);
}

bool isInteger(std::string_view text) {
    std::int64_t number = 0;
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex) text.remove_prefix(2);
    if (!hex && text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, hex ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size();
}

bool isReal(std::string_view text) {
    double number = 0;
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error != std::errc::invalid_argument && end == text.data() + text.size();
}

// Walks over the tags. It need not be a whole XML parser: the library refuses what is not well formed.
class XmlCheck {
public:
    explicit XmlCheck(std::string_view text) : text_(text) {}

    Result<void> run() {
        if (at_ = text_.find('\0'); at_ != std::string_view::npos) {
            problem_ = "a zero character stands there.";
            return fail();
        }
        at_ = 0;
        for (;;) {
            const std::size_t tag = text_.find('<', at_);
            if (tag == std::string_view::npos) break;
            at_ = tag;
            const std::string_view rest = text_.substr(at_);
            if (rest.starts_with("<!--"))
                skipBehind("-->");
            else if (rest.starts_with("<![CDATA["))
                skipBehind("]]>");
            else if (rest.starts_with("<?"))
                skipBehind("?>");
            else if (rest.starts_with("<!DOCTYPE"))
                skipBehind(">");
            else
                checkTag();
            if (!problem_.empty()) return fail();
        }
        if (!open_.empty())
            problem_ = stringWithFormat("<%@> is not closed.", {open_.back()});
        else if (!sawElement_)
            problem_ = "it holds no value.";
        return problem_.empty() ? Result<void>{} : fail();
    }

private:
    void skipBehind(std::string_view end) {
        const std::size_t found = text_.find(end, at_);
        if (found == std::string_view::npos)
            problem_ = stringWithFormat("“%@” is missing.", {end});
        else
            at_ = found + end.size();
    }

    void checkTag() {
        const std::size_t end = text_.find('>', at_);
        if (end == std::string_view::npos) {
            problem_ = "a tag is cut off.";
            return;
        }
        std::string_view tag = text_.substr(at_ + 1, end - at_ - 1);
        const bool closes = tag.starts_with('/'), isEmpty = tag.ends_with('/');
        if (closes) tag.remove_prefix(1);
        const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
        if (closes) {
            if (open_.empty() || open_.back() != name)
                problem_ = stringWithFormat("</%@> closes nothing.", {name});
            else
                open_.pop_back();
        } else {
            checkElement(name, isEmpty, text_.substr(end + 1));
        }
        if (problem_.empty()) at_ = end + 1;
    }

    void checkElement(std::string_view name, bool isEmpty, std::string_view behind) {
        static constexpr std::string_view known[] = {"plist", "dict", "array",   "key",  "string", "true",
                                                     "false", "data", "integer", "real", "date"};
        if (std::find(std::begin(known), std::end(known), name) == std::end(known)) {
            problem_ = stringWithFormat("<%@> is no element of a property list.", {name.substr(0, 40)});
            return;
        }
        if (name != "plist") sawElement_ = true;
        const std::string_view content = isEmpty ? std::string_view{} : trimmed(behind.substr(0, behind.find('<')));
        const bool good = name == "integer" ? isInteger(content)
                          : name == "real"  ? isReal(content)
                          : name == "date"  ? dateFromPropertyListText(content).has_value()
                                            : true;
        if (!good) problem_ = stringWithFormat("“%@” is no %@.", {content.substr(0, 40), name});
        if (!isEmpty) open_.push_back(name);
        if (open_.size() > kDeepestPropertyList) problem_ = "it is nested too deeply.";
    }

    Result<void> fail() const {
        const auto line = 1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_), '\n');
        return damagedPropertyList(stringWithFormat("line %ld: %@", {std::int64_t{line}, problem_}));
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::vector<std::string_view> open_;
    bool sawElement_ = false;
    std::string problem_;
};

// The binary form names objects by index, so a short file can name one object a million times over: the library, which
// copies each, would run out of memory. This counts what would come out.
class BinaryCheck {
public:
    explicit BinaryCheck(std::string_view bytes) : bytes_(bytes) {}

    Result<void> run() {
        constexpr std::size_t kTrailer = 32;
        if (bytes_.size() < 8 + kTrailer) return damagedPropertyList("it is cut off.");
        const std::size_t trailer = bytes_.size() - kTrailer;
        offsetSize_ = static_cast<unsigned char>(bytes_[trailer + 6]);
        indexSize_ = static_cast<unsigned char>(bytes_[trailer + 7]);
        const std::uint64_t objects = number(trailer + 8, 8), root = number(trailer + 16, 8);
        table_ = number(trailer + 24, 8);
        const bool fits = offsetSize_ >= 1 && offsetSize_ <= 8 && indexSize_ >= 1 && indexSize_ <= 8 && table_ >= 8 &&
                          table_ < trailer && objects <= (trailer - table_) / offsetSize_;
        if (!fits || root >= objects) return damagedPropertyList("its table of objects is wrong.");
        sizes_.assign(objects, 0);
        measure(root, 0);
        if (!problem_.empty()) return damagedPropertyList(problem_);
        return {};
    }

private:
    // Big-endian; ends at the end of the file.
    std::uint64_t number(std::uint64_t at, unsigned size) const {
        std::uint64_t value = 0;
        for (std::uint64_t i = at; i < at + size; ++i)
            value = value << 8 | (i < bytes_.size() ? static_cast<unsigned char>(bytes_[i]) : 0u);
        return value;
    }

    // The library stops the program when a key holds one.
    bool holdsZero(std::uint64_t at, std::uint64_t count, unsigned unit) const {
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, bytes_.size()); ++i)
            if (number(at + i * unit, unit) == 0) return true;
        return false;
    }

    // The memory that an object with all its parts comes to, roughly; 0 after a problem.
    std::uint64_t measure(std::uint64_t index, std::size_t depth) {
        if (depth > kDeepestPropertyList) problem_ = "it is nested too deeply, or holds itself.";
        if (index >= sizes_.size()) problem_ = "it names an object that is not there.";
        if (!problem_.empty()) return 0;
        if (sizes_[index] != 0) return sizes_[index];
        std::uint64_t at = number(table_ + index * offsetSize_, offsetSize_);
        if (at < 8 || at >= table_) {
            problem_ = "an object lies outside of the file.";
            return 0;
        }
        const unsigned marker = static_cast<unsigned char>(bytes_[at++]), kind = marker >> 4;
        std::uint64_t count = marker & 15;
        if (kind >= 4 && kind != 8 && count == 15) {
            const unsigned bytes =
                1u << (static_cast<unsigned char>(bytes_[std::min<std::uint64_t>(at, bytes_.size() - 1)]) & 3);
            count = number(at + 1, bytes);
            at += 1 + bytes;
        }
        if ((kind == 5 || kind == 6) && holdsZero(at, count, kind == 6 ? 2 : 1))
            problem_ = "a text holds a zero character.";
        const bool isContainer = kind >= 0xA;
        std::uint64_t size = 64 + (isContainer ? 0 : kind == 6 ? 2 * count : kind >= 4 ? count : 16);
        if (count > bytes_.size()) problem_ = "an object is larger than the file.";
        const std::uint64_t parts = isContainer && problem_.empty() ? (kind == 0xD ? 2 * count : count) : 0;
        for (std::uint64_t i = 0; i < parts && problem_.empty(); ++i) {
            size += measure(number(at + i * indexSize_, indexSize_), depth + 1);
            if (size > kLargestPropertyList) problem_ = "it is too large.";
        }
        return sizes_[index] = size;
    }

    std::string_view bytes_;
    unsigned offsetSize_ = 0, indexSize_ = 0;
    std::uint64_t table_ = 0;
    std::vector<std::uint64_t> sizes_;
    std::string problem_;
};

}  // namespace

tl::unexpected<Error> damagedPropertyList(std::string_view problem) {
    return failure("PropertyList", 1, stringWithFormat("The property list cannot be read: %@", {problem}));
}

Result<void> checkXmlPropertyList(std::string_view text) {
    if (text.size() > kLargestPropertyList) return damagedPropertyList("it is too large.");
    return XmlCheck(text).run();
}

Result<void> checkBinaryPropertyList(std::string_view bytes) {
    if (bytes.size() > kLargestPropertyList) return damagedPropertyList("it is too large.");
    return BinaryCheck(bytes).run();
}

std::optional<Date> dateFromPropertyListText(std::string_view text) {
    const auto field = [&](char end) -> int {
        int number = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || stop == text.data() + text.size() || *stop != end || text[0] == '-') return -1;
        text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + 1);
        return number;
    };
    const int year = field('-'), month = field('-'), day = field('T');
    const int hour = field(':'), minute = field(':'), second = field('Z');
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    const bool good = text.empty() && year >= 1 && year <= 9999 && date.ok() && hour >= 0 && hour < 24 && minute >= 0 &&
                      minute < 60 && second >= 0 && second < 60;
    if (!good) return {};
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    return Date{static_cast<double>(days) * 86400.0 + hour * 3600 + minute * 60 + second};
}

}  // namespace qs
