#include "Core/UserNotice.h"

#include "Core/QSPluginDelegate.h"

namespace qs {

void showUserNotification(const std::string& title, const std::string& subtitle) {
    QSPluginDelegate::sharedDelegate().triggerHelperWithNotificationName(
        "com.apple.Mail.Quillstead.UserNotification", Dictionary{{"title", title}, {"subtitle", subtitle}});
}

}  // namespace qs
