#include "Mail/SenderName.h"

#include "Mail/AddressScan.h"
#include "Mail/Message.h"

namespace qs {

std::string senderDisplayName(const Message& message) { return senderDisplayName(message.from()); }

std::string senderDisplayName(std::string_view from) {
    const auto senders = scanAddresses(from);
    return senders.empty() ? std::string(from) : shownName(senders.front().name, senders.front().address);
}

}  // namespace qs
