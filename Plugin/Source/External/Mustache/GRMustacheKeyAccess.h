// The one place that looks a key up in a value. Dictionaries answer any key; an object answers those that it exposes;
// texts, numbers, dates, data and lists answer those of a fixed table.
#pragma once

#include "GRMustacheName.h"
#include "GRMustacheValue.h"

namespace qs {

class GRMustacheKeyAccess {
public:
    // Nil for a key that the object doesn't have or doesn't expose.
    static GRMustacheValue valueForMustacheKey(const GRMustacheName& key, const GRMustacheValue& inObject,
                                               bool unsafeKeyAccess);
    // The same into `value`, which must be Nil; false for such a key.
    static bool findValueForMustacheKey(const GRMustacheName& key, const GRMustacheValue& inObject,
                                        bool unsafeKeyAccess, GRMustacheValue& value) {
        return inObject.isKeyed() ? inObject.findKeyedSubscript(key, value)
                                  : findExposed(key.text(), inObject, unsafeKeyAccess, value);
    }

private:
    static bool findExposed(std::string_view key, const GRMustacheValue& inObject, bool unsafeKeyAccess,
                            GRMustacheValue& value);
};

}  // namespace qs
