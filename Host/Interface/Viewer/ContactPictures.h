// Host classes that know pictures of people. Which of them exist depends on the generation of the host, so a plug-in
// asks for the class first. A picture is a data URL; empty for none. Main thread.
#pragma once

#include <memory>
#include <string>

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

// Class "ABPersonInitials".
namespace person_initials {
inline const Operation<std::string(const std::string& name)> initialsForName{"initialsForName:"};  // class method
}  // namespace person_initials

// Class "ABCardViewImageLoading"; an object of it is made with HostObject's constructor.
namespace card_view_image_loading {
inline const Operation<std::string(const std::string& initials)> imageWithInitials{"imageWithInitials:"};
}  // namespace card_view_image_loading

}  // namespace qs
