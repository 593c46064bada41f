#include "UserNotifications.h"

#include "Foundation/NotificationCenter.h"

namespace qs {

void UserNotificationsObject::defineClass() {
    ClassRegistry::current()
        .define("UserNotificationCenterController")
        .addClassMethod(user_notification_center_controller::sharedInstance,
                        [](Class&) -> std::shared_ptr<UserNotificationCenterController> {
                            return std::make_shared<UserNotificationsObject>();  // it keeps nothing
                        });
}

std::vector<std::string> UserNotificationsObject::_snippetsForMessages(const MessageList& messages) {
    std::vector<std::string> snippets;
    for (const MessageRef& message : messages)
        snippets.push_back(message->snippet());
    return snippets;
}

void UserNotificationsObject::_postUserNotificationForMessages(const MessageList& messages,
                                                               const std::vector<std::string>&) {
    Array ids;
    for (const MessageRef& message : messages)
        ids.emplace_back(message->libraryID());
    NotificationCenter::defaultCenter().post(UserNotificationWasPostedNotification, this,
                                             Dictionary{{"messages", std::move(ids)}});
}

}  // namespace qs
