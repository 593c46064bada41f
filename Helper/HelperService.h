// What the helper does for each distributed notification of the plug-in: user notifications, the question for updates,
// and the last step of uninstalling. Lives on the main thread.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "Foundation/NotificationCenter.h"

namespace qs {

class DistributedNotificationCenter;
class UserNotifier;

class HelperService {
public:
    struct Places {
        std::filesystem::path bundles, data;  // empty: nothing is ever removed
    };

    // Listens from here on. `whenDone` is called when there is nothing left to do: the plug-in was uninstalled.
    HelperService(DistributedNotificationCenter& center, UserNotifier& notifier, Places places,
                  std::function<void()> whenDone);

private:
    void answerUpdateQuestion(const Value& userInfo);
    void showNotification(const Value& userInfo);
    void uninstall();

    UserNotifier& notifier_;
    const Places places_;
    const std::function<void()> whenDone_;
    std::vector<ObservationRef> observations_;
};

}  // namespace qs
