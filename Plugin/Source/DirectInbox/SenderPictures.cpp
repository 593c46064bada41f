#include "DirectInbox/SenderPictures.h"

#include "Mail/AddressScan.h"
#include "Mail/Message.h"
#include "MailCategories/CNAvatarViewController_Quillstead.h"

namespace qs {

std::string SenderPictures::addressOf(const Message& message) {
    for (const ScannedAddress& found : scanAddresses(message.from()))
        if (!found.address.empty()) return found.address;
    return {};
}

const std::string& SenderPictures::of(const Message& message, const std::string& senderDisplayName) {
    const std::pair key(addressOf(message), senderDisplayName);
    const auto known = known_.find(key);
    if (known != known_.end()) return known->second;
    std::string image = contactImage(key.first, key.second);
    if (image.empty()) image = imageWithInitials(key.second);
    return known_[key] = std::move(image);
}

}  // namespace qs
