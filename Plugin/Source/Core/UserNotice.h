// A few words to the person beside everything that the page shows: a notification of the desktop, which the helper
// posts.
#pragma once

#include <string>

namespace qs {

void showUserNotification(const std::string& title, const std::string& subtitle);  // both translated; main thread

}  // namespace qs
