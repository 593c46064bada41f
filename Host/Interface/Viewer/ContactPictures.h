// Host classes that know pictures of people. Which of them exist depends on the generation of the host, so a plug-in
// asks for the class first. A picture is a data URL; empty for none. Pictures of contacts come a little later than they
// are asked for: who asks first gets none, and PhotoAvailableNotification tells when it is there. Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Runtime.h"

namespace qs {

// Class "MFAddressManager", up to OS minor 11: the address book.
namespace address_manager {
inline const Operation<std::shared_ptr<HostObject>()> addressManager{"addressManager"};  // class method
// Exchangeable. Photo size 1 is that of a list's row. `fetchState` may be null.
inline const Operation<std::string(const std::string& mailAddress, const std::string& displayName, int photoSize,
                                   bool selected, int* fetchState)>
    imageForMailAddress{"imageForMailAddress:displayName:photoSize:selected:fetchState:"};
}  // namespace address_manager

// From OS minor 12 on: the address book, class "CNContactStore"; what shows a person's picture is of class
// "CNAvatarViewController".
namespace contact_store {
inline const Operation<std::string(const std::string& mailAddress)> imageForMailAddress{
    "imageForMailAddress:"};  // class method
}  // namespace contact_store

// Posted on the default centre when the picture of a contact is there, or is another one. User info: "Email", the
// address in lower case.
inline constexpr std::string_view PhotoAvailableNotification = "PhotoAvailableNotification";

// Class "ABPersonInitials".
namespace person_initials {
inline const Operation<std::string(const std::string& name)> initialsForName{"initialsForName:"};  // class method
}  // namespace person_initials

// Class "ABCardViewImageLoading"; an object of it is made with HostObject's constructor.
namespace card_view_image_loading {
inline const Operation<std::string(const std::string& initials)> imageWithInitials{"imageWithInitials:"};
}  // namespace card_view_image_loading

}  // namespace qs
