#include "Mail/SenderName.h"

#include "Mail/AddressScan.h"
#include "Mail/Message.h"

namespace qs {

std::string senderDisplayName(const Message& message) {
    const std::string sender = message.from();
    for (ScannedAddress& found : scanAddresses(sender)) {
        if (!found.name.empty()) return std::move(found.name);
        if (!found.address.empty()) return std::move(found.address);
    }
    return sender;
}

}  // namespace qs
