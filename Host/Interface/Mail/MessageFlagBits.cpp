#include "Mail/MessageFlagBits.h"

#include <algorithm>
#include <iterator>

#include "Mail/Message.h"

namespace qs {

std::string displayNameForFlagColor(int colour) {
    constexpr const char* kNames[] = {"Red", "Orange", "Yellow", "Green", "Blue", "Purple", "Grey"};
    return colour >= 0 && colour < static_cast<int>(std::size(kNames)) ? kNames[colour] : "";
}

std::uint32_t messageFlags(const Message& message) {
    const MessageFlags flags = message.flags();
    std::uint32_t word = 0;
    const auto add = [&](bool isSet, std::uint32_t bits) { word |= isSet ? bits : 0; };
    add(flags.seen, kMessageIsRead);
    add(flags.deleted, kMessageIsDeleted);
    add(flags.answered, kMessageIsReplied);
    add(flags.flagged, kMessageIsFlagged | messageFlagColourBits(flags.colour));
    add(flags.forwarded, kMessageIsForwarded);
    add(flags.junk, kMessageIsJunk);
    const auto attachments = static_cast<std::uint32_t>(std::max(message.numberOfAttachments(), 0));
    word |= std::min(attachments, kMostMessageAttachments) << kMessageAttachmentsShift;
    // "X-Priority: 2" is "High", too.
    const int priority = message.priority();
    add(priority == 1 || priority == 2, kMessageHasHighPriority);
    return word;
}

}  // namespace qs
