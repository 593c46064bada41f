// The keys of one dictionary in a hash table, for a rendering that looks up about as many names as there are keys: then
// making the table takes less time than it saves. Never changes, so safe from every thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "GRMustacheValue.h"

namespace qs {

class GRMustacheKeyIndex {
public:
    // Refers to the entries. Not worth having for fewer.
    explicit GRMustacheKeyIndex(const Dictionary& entries);
    static constexpr std::size_t kFewEntries = 8;

    // Null for an unknown key.
    const Value* find(const GRMustacheName& key) const;

private:
    struct Slot {
        std::uint64_t head;
        const Dictionary::value_type* entry;  // null for an empty slot
    };
    // Where the search for the name begins. Each slot to look at behind it is the next one.
    std::size_t placeOf(const GRMustacheName& name) const;
    std::size_t after(std::size_t place) const { return (place + 1) & (slots_.size() - 1); }

    std::vector<Slot> slots_;  // a power of two, at most half of them taken
};

}  // namespace qs
