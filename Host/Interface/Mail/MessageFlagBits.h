// The flags of a message as one 32-bit word, as plug-ins know them.
#pragma once

#include <cstdint>
#include <string>

namespace qs {

class Message;

inline constexpr std::uint32_t kMessageIsRead = 1, kMessageIsDeleted = 2, kMessageIsReplied = 4,
                               kMessageIsFlagged = 0x10, kMessageIsForwarded = 0x100, kMessageIsRedirected = 0x200,
                               kMessageIsJunk = 0x1000000;
// How many attachments: 0 and 63 both mean that none are to be shown.
inline constexpr int kMessageAttachmentsShift = 10;
inline constexpr std::uint32_t kMessageAttachmentsMask = 0xFC00, kMostMessageAttachments = 62;
// The priority: the value 1 is high.
inline constexpr std::uint32_t kMessagePriorityMask = 0x3F0000, kMessageHasHighPriority = 0x10000;
// The colour of a flag, without the flag.
inline constexpr std::uint32_t kMessageFlagColourMask = 0x80400080;

// The bits of a colour as MessageFlags has it: 0 red, 1 orange, ... 6 grey.
constexpr std::uint32_t messageFlagColourBits(int colour) {
    const auto number = static_cast<std::uint32_t>(colour);
    return (number & 1 ? 0x80u : 0u) | (number & 2 ? 0x400000u : 0u) | (number & 4 ? 0x80000000u : 0u);
}

// "Red", "Orange", ... by the colour as MessageFlags has it; empty for any other.
std::string displayNameForFlagColor(int colour);

// Asks for the number of attachments and the priority, which may cost a look into the library.
std::uint32_t messageFlags(const Message& message);

}  // namespace qs
