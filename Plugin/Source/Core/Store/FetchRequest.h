// What to fetch: objects of one entity, those that a condition holds for, in an order.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/Store/Condition.h"

namespace qs {

struct SortDescriptor {
    std::string_view key;  // an attribute's name; outlives the request
    bool ascending = true;
    // Below 0, 0, above 0; compareValues when there is none.
    std::function<int(const Value&, const Value&)> comparator;
};

struct FetchRequest {
    std::string_view entityName;
    Condition predicate;
    std::vector<SortDescriptor> sortDescriptors;  // none, or equal: in the order in which the objects were made
    std::size_t fetchLimit = 0;                   // 0: all
};

}  // namespace qs
