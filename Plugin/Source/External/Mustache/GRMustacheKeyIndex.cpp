#include "GRMustacheKeyIndex.h"

#include <bit>

#include "GRMustacheName.h"

namespace qs {

GRMustacheKeyIndex::GRMustacheKeyIndex(const Dictionary& entries) : slots_(std::bit_ceil(2 * entries.size() + 1)) {
    for (const auto& entry : entries) {
        const GRMustacheName name(entry.first);
        std::size_t place = placeOf(name);
        while (slots_[place].entry)
            place = after(place);
        slots_[place] = {name.head(), &entry};
    }
}

const Value* GRMustacheKeyIndex::find(const GRMustacheName& key) const {
    for (std::size_t place = placeOf(key);; place = after(place)) {
        const Slot& slot = slots_[place];
        if (!slot.entry) return nullptr;
        if (slot.head == key.head() && key.isTextOf(slot.entry->first)) return &slot.entry->second;
    }
}

std::size_t GRMustacheKeyIndex::placeOf(const GRMustacheName& name) const {
    constexpr std::uint64_t golden = 0x9E3779B97F4A7C15u;  // 2^64 by the golden ratio: the upper half is well mixed
    return static_cast<std::size_t>((name.head() + name.tail() * 31 + name.text().size()) * golden >> 32) &
           (slots_.size() - 1);
}

}  // namespace qs
