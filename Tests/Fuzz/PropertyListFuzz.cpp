// Feeds property lists of any bytes to the reader. What it accepts must be written and read again as it was.
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "Foundation/PropertyList.h"

namespace {

// Reads what the XML form cannot give back exactly: fractions of seconds, texts that are no UTF-8, not-a-number.
bool isExact(const qs::Value& value) {
    if (const auto date = value.dateValue()) return date->secondsSince1970 == std::floor(date->secondsSince1970);
    if (value.type() == qs::ValueType::Real) return !std::isnan(value.doubleValue());
    const auto isAscii = [](std::string_view text) {
        for (const char c : text)
            if (static_cast<unsigned char>(c) >= 0x80) return false;
        return true;
    };
    if (!isAscii(value.stringValue())) return false;
    for (const qs::Value& element : value.array())
        if (element.isNil() || !isExact(element)) return false;
    for (const auto& [key, element] : value.dictionary())
        if (element.isNil() || !isAscii(key) || !isExact(element)) return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const auto read = qs::parsePropertyList({reinterpret_cast<const char*>(bytes), size});
    if (!read || read->isNil()) return 0;
    const auto again = qs::parsePropertyList(qs::xmlPropertyList(*read));
    if (!again || (isExact(*read) && !(*again == *read))) std::abort();
    return 0;
}
