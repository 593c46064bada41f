// What a context keeps for each entity. Private to ManagedObjectContext's source files.
#pragma once

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "Core/Store/ManagedObjectContext.h"

namespace qs {

class EditorRegistration {
public:
    std::function<bool()> commit;
};

struct ManagedObjectContext::EntityState {
    static constexpr std::size_t kFirstSweep = 1024;

    const EntityDescription* entity = nullptr;
    std::int64_t nextRow = 1;
    // Those that somebody holds, and what is left of others until the next sweep.
    std::unordered_map<std::int64_t, std::weak_ptr<ManagedObject>> objects = {};
    std::size_t sweepAt = kFirstSweep;
    // Everything that the store knows differently, in the order of change.
    std::vector<ManagedObjectRef> pending = {};
    // The same by the values of indexed attributes and by links, so that finding one of many unsaved objects by its key
    // does not look at each. By hash alone, with values of before too: whoever looks here compares again.
    std::unordered_multimap<std::size_t, ManagedObject*> pendingByKey = {};
};

}  // namespace qs
