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

// In any case of letters; null for none.
inline const ENXMLAttribute* attributeNamed(const ENXMLAttributes& attributes, std::string_view name) {
    for (const ENXMLAttribute& attribute : attributes)
        if (attribute.name.size() == name.size() && equalsIgnoringCase(attribute.name, name)) return &attribute;
    return nullptr;
}

}  // namespace qs
