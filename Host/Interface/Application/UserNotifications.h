// Where the person is told of new mail. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"

namespace qs {

class UserNotificationCenterController : public HostObject {
public:
    using HostObject::HostObject;  // class "UserNotificationCenterController"

    // The beginning of each message's text.
    virtual std::vector<std::string> _snippetsForMessages(const MessageList& messages) = 0;
    // Tells them as new mail is told, if the person wants that. One snippet for each message.
    virtual void _postUserNotificationForMessages(const MessageList& messages,
                                                  const std::vector<std::string>& withSnippets) = 0;
};

namespace user_notification_center_controller {
// Class method; null before the host has an application.
inline const Operation<std::shared_ptr<UserNotificationCenterController>()> sharedInstance{"sharedInstance"};
}  // namespace user_notification_center_controller

}  // namespace qs
