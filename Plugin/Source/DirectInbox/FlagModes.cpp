#include "DirectInbox/FlagModes.h"

#include "Mail/MessageFlagBits.h"

namespace qs {

namespace {

constexpr const char* kSwatches[] = {"#FC3D39", "#F58F25", "#F1C12C", "#4DBD2E", "#26A8EE", "#C46FD8", "#8E8E91"};

}  // namespace

std::uint32_t flagModeForTag(int tag) {
    return tag >= 0 && tag < kNoFlagTag ? kMessageIsFlagged | messageFlagColourBits(tag) : 0;
}

const char* swatchOfFlagMode(std::uint32_t mode) {
    for (int tag = 0; tag < kNoFlagTag; ++tag)
        if (flagModeForTag(tag) == mode) return kSwatches[tag];
    return "";
}

}  // namespace qs
