#include "Foundation/PropertyList.h"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "Foundation/PropertyListCheck.h"

namespace qs {

namespace {

constexpr double kEpochOfPropertyLists = 978'307'200;  // 2001-01-01 UTC, in seconds since 1970

struct FreePlist {
    void operator()(void* node) const { plist_free(node); }
};
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

// The library hands dates out as 32 bits around 2001; what lies outside (before 1933, after 2068) is read from its
// text.
Date distantDate(plist_t node) {
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &xml, &length);
    const std::unique_ptr<char, Free> owner(xml);
    std::string_view text(xml ? xml : "", length);
    const auto start = text.find("<date>");
    if (start == std::string_view::npos) return {};
    text.remove_prefix(start + 6);
    return dateFromPropertyListText(text.substr(0, text.find('<'))).value_or(Date{});
}

Date dateOf(plist_t node) {
    std::int32_t seconds = 0, microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    if (seconds == INT32_MIN || seconds == INT32_MAX) return distantDate(node);
    const double fraction = (seconds < 0 ? -1e-6 : 1e-6) * microseconds;
    return {kEpochOfPropertyLists + seconds + fraction};
}

Value valueOf(plist_t node);

Value arrayOf(plist_t node) {
    Array elements;
    elements.reserve(plist_array_get_size(node));
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const std::unique_ptr<void, Free> owner(iterator);
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator, &item);
        if (!item) return elements;
        elements.push_back(valueOf(item));
    }
}

Value dictionaryOf(plist_t node) {
    Dictionary entries;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, Free> owner(iterator);
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        const std::unique_ptr<char, Free> keyOwner(key);
        if (!item) return entries;
        entries.insert_or_assign(key ? key : "", valueOf(item));
    }
}

Value stringOf(plist_t node) {
    const char* text = plist_get_string_ptr(node, nullptr);
    return text ? text : "";
}

Value dataOf(plist_t node) {
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    return bytes ? Data{std::string(bytes, length)} : Data{};
}

Value valueOf(plist_t node) {
    std::uint8_t boolean = 0;
    std::uint64_t integer = 0;
    double real = 0;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: plist_get_bool_val(node, &boolean); return boolean != 0;
    case PLIST_UINT: plist_get_uint_val(node, &integer); return static_cast<std::int64_t>(integer);
    case PLIST_UID: plist_get_uid_val(node, &integer); return static_cast<std::int64_t>(integer);
    case PLIST_REAL: plist_get_real_val(node, &real); return real;
    case PLIST_STRING: return stringOf(node);
    case PLIST_DATE: return dateOf(node);
    case PLIST_DATA: return dataOf(node);
    case PLIST_ARRAY: return arrayOf(node);
    case PLIST_DICT: return dictionaryOf(node);
    default: return {};
    }
}

}  // namespace

Result<Value> parsePropertyList(std::string_view text) {
    const bool isBinary = text.starts_with("bplist");
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    if (const auto checked = isBinary ? checkBinaryPropertyList(text) : checkXmlPropertyList(text); !checked)
        return failed(checked);
    plist_t root = nullptr;
    const auto length = static_cast<std::uint32_t>(text.size());
    if (isBinary)
        plist_from_bin(text.data(), length, &root);
    else
        plist_from_xml(text.data(), length, &root);
    if (!root) return damagedPropertyList("it is not well formed.");
    const std::unique_ptr<void, FreePlist> owner(root);
    return valueOf(root);
}

}  // namespace qs
