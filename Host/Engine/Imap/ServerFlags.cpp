#include "Imap/ServerFlags.h"

#include <array>
#include <utility>

namespace qs {

namespace {

// Bits as packedFlags() has them; the keywords as they are registered for IMAP.
constexpr std::array<std::pair<const char*, int>, 10> kFlags{{{"\\Seen", 1},
                                                              {"\\Answered", 2},
                                                              {"\\Flagged", 4},
                                                              {"\\Draft", 8},
                                                              {"\\Deleted", 16},
                                                              {"$Forwarded", 32},
                                                              {"$Junk", 64},
                                                              {"$MailFlagBit0", 1 << 8},
                                                              {"$MailFlagBit1", 2 << 8},
                                                              {"$MailFlagBit2", 4 << 8}}};
// There is no eighth colour; read as the last one here, so that both sides mean the same.
constexpr int kColour = 7 << 8, kLastColour = 6 << 8;

}  // namespace

int packedFromServer(const ImapFlags& flags) {
    int packed = 0;
    for (const auto& [name, bit] : kFlags)
        if (hasImapFlag(flags, name)) packed |= bit;
    return (packed & kColour) == kColour ? (packed & ~kColour) | kLastColour : packed;
}

ImapFlags serverFlags(int packed) {
    ImapFlags flags;
    for (const auto& [name, bit] : kFlags)
        if ((packed & bit) != 0) flags.emplace_back(name);
    return flags;
}

int keptFlags(const ImapSelection& selection) {
    // A server that tells none means that it keeps them all.
    if (selection.takesNewKeywords || selection.permanentFlags.empty()) return -1;
    int kept = 0;
    for (const auto& [name, bit] : kFlags)
        if (hasImapFlag(selection.permanentFlags, name)) kept |= bit;
    // A colour is kept whole or not at all.
    return (kept & kColour) == kColour ? kept : kept & ~kColour;
}

}  // namespace qs
