// Shows a short text to the user: through the desktop's notification service
// (https://specifications.freedesktop.org/notification-spec/latest/), or in the log where there is none.
#pragma once

#include <memory>
#include <string_view>

namespace qs {

class UserNotifier {
public:
    virtual ~UserNotifier() = default;
    static std::unique_ptr<UserNotifier> desktop();
    // Both are plain text; markup in them is shown as it is. Blocks for two seconds at most.
    virtual void show(std::string_view title, std::string_view subtitle) = 0;
};

}  // namespace qs
