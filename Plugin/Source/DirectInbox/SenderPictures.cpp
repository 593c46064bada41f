#include "DirectInbox/SenderPictures.h"

#include "Mail/AddressScan.h"
#include "Mail/Message.h"
#include "Platform.h"
#include "Viewer/ContactPictures.h"

namespace qs {

namespace {

constexpr int kPhotoSize = 1;

// Of OS minor 12 and up, when the plug-in has it.
const Operation<std::string(const std::string& email)> roundImageForEmail{"roundImageForEmail:"};

std::string contactImage(const std::string& address, const std::string& name) {
    if (osMinor() >= 12) {
        Class* const avatars = NSClassFromString("CNAvatarViewController");
        const bool isThere = avatars && avatars->find(MethodKind::Class, roundImageForEmail.selector());
        return isThere ? roundImageForEmail.onClass(avatars, address) : std::string();
    }
    const auto manager = address_manager::addressManager.onClass(QSClassFromString("MFAddressManager"));
    return address_manager::imageForMailAddress(manager, address, name, kPhotoSize, false, nullptr);
}

std::string imageWithInitials(const std::string& name) {
    const std::string initials = person_initials::initialsForName.onClass(QSClassFromString("ABPersonInitials"), name);
    if (!QSClassFromString("ABCardViewImageLoading")) return {};
    return card_view_image_loading::imageWithInitials(std::make_shared<HostObject>("ABCardViewImageLoading"), initials);
}

std::string bareAddress(const std::string& sender) {
    for (const ScannedAddress& found : scanAddresses(sender))
        if (!found.address.empty()) return found.address;
    return {};
}

}  // namespace

const std::string& SenderPictures::of(const Message& message, const std::string& senderDisplayName) {
    const std::pair key(bareAddress(message.from()), senderDisplayName);
    const auto known = known_.find(key);
    if (known != known_.end()) return known->second;
    std::string image = contactImage(key.first, key.second);
    if (image.empty()) image = imageWithInitials(key.second);
    return known_[key] = std::move(image);
}

}  // namespace qs
