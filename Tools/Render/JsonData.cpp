#include "Render/JsonData.h"

#include <algorithm>
#include <boost/json.hpp>
#include <limits>

namespace qs {

namespace {

namespace json = boost::json;

constexpr std::size_t kMostDepth = 256;

Value valueOf(const json::value& from) {
    switch (from.kind()) {
    case json::kind::null: return {};
    case json::kind::bool_: return from.get_bool();
    case json::kind::int64: return from.get_int64();
    case json::kind::uint64: return static_cast<double>(from.get_uint64());  // beyond the range of integers
    case json::kind::double_: return from.get_double();
    case json::kind::string: return std::string_view(from.get_string());
    case json::kind::array: {
        Array items;
        for (const json::value& item : from.get_array())
            items.push_back(valueOf(item));
        return items;
    }
    case json::kind::object: break;
    }
    Dictionary entries;
    for (const auto& [key, value] : from.get_object())
        entries.insert_or_assign(std::string(key), valueOf(value));
    return entries;
}

tl::unexpected<Error> failureAt(std::string_view text, std::size_t at, const std::string& what) {
    const std::string_view before = text.substr(0, at);
    const std::string_view line = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0
    const auto column = std::count_if(line.begin(), line.end(), [](char c) { return (c & '\xC0') != '\x80'; });
    Error error{"JSON", 1, what, {}};
    error.userInfo.emplace(kJsonLineKey, std::int64_t{1} + std::count(before.begin(), before.end(), '\n'));
    error.userInfo.emplace(kJsonColumnKey, std::int64_t{1} + column);
    return failure(std::move(error));
}

}  // namespace

Result<Value> valueFromJson(std::string_view text) {
    json::parse_options options;
    options.max_depth = kMostDepth;
    json::stream_parser parser({}, options);
    json::error_code error;
    std::size_t read = parser.write_some(text.data(), text.size(), error);
    if (error) return failureAt(text, read, error.message());
    read += std::min(text.find_first_not_of(" \t\r\n", read), text.size()) - read;
    if (read < text.size()) return failureAt(text, read, "there is more behind the end of the data");
    if (parser.finish(error); error) return failureAt(text, read, "the data end too early");
    return valueOf(parser.release());
}

}  // namespace qs
