// The colours of flags, as the Direct Inbox's flag menu offers them. A flag mode is the value of the flag's bits in the
// host's word of flags; 0 is no flag.
#pragma once

#include <cstdint>

namespace qs {

inline constexpr int kNoFlagTag = 7;

// By the tag of a menu item: 0 red ... 6 grey, kNoFlagTag none; 0 for any other.
std::uint32_t flagModeForTag(int tag);
// "#RRGGBB" of a colour's swatch; empty for none and for what is no mode.
const char* swatchOfFlagMode(std::uint32_t mode);

}  // namespace qs
