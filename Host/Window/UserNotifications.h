// The host's part of telling new mail on somebody's behalf: it tells whoever shows the page. Main thread.
#pragma once

#include <string_view>

#include "Application/UserNotifications.h"

namespace qs {

// Posted on the default centre for messages that are to be told as new mail. User info: "messages", an array of ids.
inline constexpr std::string_view UserNotificationWasPostedNotification = "UserNotificationWasPosted";

class UserNotificationsObject final : public UserNotificationCenterController {
public:
    static void defineClass();
    UserNotificationsObject() : UserNotificationCenterController("UserNotificationCenterController") {}

    std::vector<std::string> _snippetsForMessages(const MessageList& messages) override;
    void _postUserNotificationForMessages(const MessageList& messages,
                                          const std::vector<std::string>& withSnippets) override;
};

}  // namespace qs
