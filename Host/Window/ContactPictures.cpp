#include "ContactPictures.h"

#include <vector>

#include "ContactPhotos.h"
#include "Platform.h"
#include "Text/Utf8.h"
#include "Viewer/ContactPictures.h"

namespace qs {
namespace {

// Letters and digits, and whatever is not ASCII; never what means something in markup.
bool isPlain(std::string_view character) {
    const char first = character.front();
    return character.size() > 1 || (first >= '0' && first <= '9') || (first >= 'A' && first <= 'Z') ||
           (first >= 'a' && first <= 'z');
}

// The first character of the text that can stand for it; empty for none.
std::string initialOf(std::string_view word) {
    while (!word.empty()) {
        const std::size_t length = utf8CharacterLength(word);
        const std::string_view character = word.substr(0, length == 0 ? 1 : length);
        if (length > 0 && isPlain(character)) {
            std::string initial(character);
            if (length == 1 && initial[0] >= 'a') initial[0] = static_cast<char>(initial[0] - 'a' + 'A');
            return initial;
        }
        word.remove_prefix(character.size());
    }
    return {};
}

std::string percentEncoded(std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        const bool isSafe = byte > 0x20 && byte < 0x7F && each != '%' && each != '#' && each != '"';
        if (isSafe)
            encoded += each;
        else
            encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return encoded;
}

}  // namespace

std::string initialsOf(std::string_view name) {
    std::vector<std::string> initials;
    while (!name.empty()) {
        const std::size_t end = name.find_first_of(" \t");
        if (auto initial = initialOf(name.substr(0, end)); !initial.empty()) initials.push_back(std::move(initial));
        name.remove_prefix(end == std::string_view::npos ? name.size() : end + 1);
    }
    if (initials.empty()) return {};
    return initials.size() == 1 ? initials.front() : initials.front() + initials.back();
}

std::string pictureWithInitials(std::string_view initials) {
    std::string shown;
    for (std::string_view rest = initials; !rest.empty();) {
        const std::size_t length = utf8CharacterLength(rest);
        if (length > 0 && isPlain(rest.substr(0, length))) shown += rest.substr(0, length);
        rest.remove_prefix(length == 0 ? 1 : length);
    }
    if (shown.empty()) return {};
    return "data:image/svg+xml," +
           percentEncoded("<svg xmlns='http://www.w3.org/2000/svg' width='80' height='80' viewBox='0 0 80 80'>"
                          "<circle cx='40' cy='40' r='40' fill='#5d7390'/>"
                          "<text x='40' y='52' text-anchor='middle' fill='#fff' font-family='system-ui,sans-serif' "
                          "font-size='34' font-weight='500' style='text-transform:uppercase'>" +
                          shown + "</text></svg>");
}

void defineContactPictureClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    registry.define("ABPersonInitials")
        .addClassMethod(person_initials::initialsForName,
                        [](Class&, const std::string& name) { return initialsOf(name); });
    registry.define("ABCardViewImageLoading")
        .add(card_view_image_loading::imageWithInitials,
             [](HostObject&, const std::string& initials) { return pictureWithInitials(initials); });
    auto photos = std::make_shared<ContactPhotos>();  // goes with the classes
    if (osMinor() > 11) {
        registry.define("CNAvatarViewController");
        registry.define("CNContactStore")
            .addClassMethod(contact_store::imageForMailAddress,
                            [photos](Class&, const std::string& mailAddress) { return photos->of(mailAddress); });
        return;
    }
    Class& manager = registry.define("MFAddressManager");
    manager.addClassMethod(address_manager::addressManager,
                           [](Class& cls) { return std::make_shared<HostObject>(cls.name()); });
    manager.add(address_manager::imageForMailAddress,
                [photos](HostObject&, const std::string& mailAddress, const std::string&, int, bool, int*) {
                    return photos->of(mailAddress);
                });
}

std::string pictureOfPerson(const std::string& mailAddress) {
    constexpr int kListPhoto = 1;
    std::string picture;
    if (Class* const store = NSClassFromString("CNContactStore")) {
        picture = contact_store::imageForMailAddress.onClass(store, mailAddress);
    } else if (Class* const managers = NSClassFromString("MFAddressManager")) {
        const auto manager = address_manager::addressManager.onClass(managers);
        picture = address_manager::imageForMailAddress(manager, mailAddress, "", kListPhoto, false, nullptr);
    }
    return picture.starts_with("data:image/") ? picture : std::string();
}

std::string initialsOfPerson(const std::string& name) {
    Class* const names = NSClassFromString("ABPersonInitials");
    return names ? person_initials::initialsForName.onClass(names, name) : std::string();
}

}  // namespace qs
