#include "Mail/SenderName.h"

#include "Mail/AddressScan.h"
#include "Mail/Message.h"

namespace qs {

std::string senderDisplayName(const Message& message) {
    const std::string sender = message.from();
    for (const ScannedAddress& found : scanAddresses(sender))
        if (const std::string& shown = shownName(found.name, found.address); !shown.empty()) return shown;
    return sender;
}

}  // namespace qs
