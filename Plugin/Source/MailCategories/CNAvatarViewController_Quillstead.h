// Pictures of people, asked for in the way that the host's generation offers: data URLs, empty for none. Those of
// contacts come a little later than they are asked for (PhotoAvailableNotification). Main thread.
#pragma once

#include <string>

namespace qs {

// Of the person's contact with that address, round from OS minor 12 on.
std::string contactImage(const std::string& address, const std::string& displayName);
std::string imageWithInitials(const std::string& displayName);

}  // namespace qs
