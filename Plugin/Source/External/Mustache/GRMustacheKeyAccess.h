// The one place that looks a key up in a value. Dictionaries answer any key; an object answers those that it exposes;
// texts, numbers, dates, data and lists answer those of a fixed table.
#pragma once

#include <string_view>

namespace qs {

class GRMustacheValue;

class GRMustacheKeyAccess {
public:
    // Nil for a key that the object doesn't have or doesn't expose.
    static GRMustacheValue valueForMustacheKey(std::string_view key, const GRMustacheValue& inObject,
                                               bool unsafeKeyAccess);
    // The same into `value`, which must be Nil; false for such a key.
    static bool findValueForMustacheKey(std::string_view key, const GRMustacheValue& inObject, bool unsafeKeyAccess,
                                        GRMustacheValue& value);
};

}  // namespace qs
