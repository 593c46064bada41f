// The patch of what shows a person's picture, from OS minor 12 on: round pictures for the plug-in's own lists.
#include "MailCategories/CNAvatarViewController_Quillstead.h"

#include "Core/PatchClass.h"
#include "Foundation/Log.h"
#include "Images/Image.h"
#include "Platform.h"
#include "Text/Base64.h"
#include "Viewer/ContactPictures.h"

namespace qs {

namespace {

using Picture = Operation<std::string(const std::string& email)>;  // class method
const Picture imageForEmail{"imageForEmail:"}, roundImageForEmail{"roundImageForEmail:"};

constexpr int kListPhoto = 1;
constexpr std::string_view kPng = "data:image/png;base64,";

std::string hostImage(const std::string& address) {
    Class* const store = QSClassFromString("CNContactStore");
    return store ? contact_store::imageForMailAddress.onClass(store, address) : std::string();
}

// The host's pictures are small ones that it drew itself.
std::string roundImage(Class& cls, const std::string& address) {
    const std::string picture = imageForEmail.onClass(&cls, address);
    if (!picture.starts_with(kPng)) return {};
    const auto data = dataFromBase64String(picture.substr(kPng.size()));
    const auto image = data ? Image::imageWithData(*data) : failure("Images", 0, "It is no data.");
    if (!image) {
        logWarning("the picture of a contact is not shown: " + image.error().description);
        return {};
    }
    return std::string(kPng) + base64EncodedString(image->resizedCleanImageWithSize(image->size()).pngData());
}

void load() {
    if (osMinor() < 12) return;
    PatchClass patch("CNAvatarViewController_Quillstead");
    patch.addClassMethod(imageForEmail, [](Class&, const std::string& address) { return hostImage(address); });
    patch.addClassMethod(roundImageForEmail, roundImage);
    patch.addAsCategoryOf("CNAvatarViewController");
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

std::string contactImage(const std::string& address, const std::string& displayName) {
    if (address.empty()) return {};
    if (osMinor() >= 12) {
        Class* const avatars = QSClassFromString("CNAvatarViewController");
        const bool isThere = avatars && avatars->find(MethodKind::Class, roundImageForEmail.selector());
        return isThere ? roundImageForEmail.onClass(avatars, address) : std::string();
    }
    const auto manager = address_manager::addressManager.onClass(QSClassFromString("MFAddressManager"));
    return address_manager::imageForMailAddress(manager, address, displayName, kListPhoto, false, nullptr);
}

std::string imageWithInitials(const std::string& displayName) {
    Class* const names = QSClassFromString("ABPersonInitials");
    Class* const pictures = QSClassFromString("ABCardViewImageLoading");
    if (!names || !pictures) return {};
    return card_view_image_loading::imageWithInitials(std::make_shared<HostObject>(pictures->name()),
                                                      person_initials::initialsForName.onClass(names, displayName));
}

}  // namespace qs
