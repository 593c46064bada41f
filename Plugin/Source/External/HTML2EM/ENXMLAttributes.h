// The attributes of one element, in document order.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Text/Ascii.h"

namespace qs {

// Views: they live as long as the call that hands them over.
struct ENXMLAttribute {
    std::string_view name;
    std::optional<std::string_view> value;  // nothing for an attribute that HTML gave no value, such as "nowrap"
};
using ENXMLAttributes = std::vector<ENXMLAttribute>;

// `lowerCase` is in lower case, `name` in any. Asked for every attribute of a document, hence not equalsIgnoringCase().
inline bool isAttributeName(std::string_view name, std::string_view lowerCase) {
    if (name.size() != lowerCase.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i)
        if (asciiLower(name[i]) != lowerCase[i]) return false;
    return true;
}

// By a name in lower case; null for none.
inline const ENXMLAttribute* attributeNamed(const ENXMLAttributes& attributes, std::string_view name) {
    for (const ENXMLAttribute& attribute : attributes)
        if (isAttributeName(attribute.name, name)) return &attribute;
    return nullptr;
}

}  // namespace qs
