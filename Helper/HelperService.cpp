#include "HelperService.h"

#include "BundleRemoval.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "UserNotifier.h"

namespace qs {

HelperService::HelperService(DistributedNotificationCenter& center, UserNotifier& notifier, Places places,
                             std::function<void()> whenDone)
    : notifier_(notifier), places_(std::move(places)), whenDone_(std::move(whenDone)) {
    observations_.push_back(
        center.addObserver("com.apple.Mail.Quillstead.CheckForUpdates",
                           [this](std::string_view, const Value& userInfo) { answerUpdateQuestion(userInfo); }));
    observations_.push_back(
        center.addObserver("com.apple.Mail.Quillstead.UserNotification",
                           [this](std::string_view, const Value& userInfo) { showNotification(userInfo); }));
    observations_.push_back(center.addObserver("com.apple.Mail.Quillstead.Uninstall",
                                               [this](std::string_view, const Value&) { uninstall(); }));
}

// There is no server to ask: a new version comes with the sources.
void HelperService::answerUpdateQuestion(const Value& userInfo) {
    logInfo("Asked for updates: they come with the checkout. Pull the newest version and start it again.");
    if (userInfo["QSUpdateShowDialog"].boolValue())
        notifier_.show("Quillstead", "Updates come with your checkout: pull the newest version, start the mail program "
                                     "again, and you are up to date.");
}

void HelperService::showNotification(const Value& userInfo) {
    const std::string title = userInfo["title"].stringValue(), subtitle = userInfo["subtitle"].stringValue();
    if (title.empty() && subtitle.empty()) return;
    notifier_.show(title.empty() ? "Quillstead" : title, subtitle);
}

void HelperService::uninstall() {
    if (places_.bundles.empty() || places_.data.empty()) {
        logWarning("Asked to uninstall, but started without --bundles and --data: the bundle stays.");
        return;
    }
    const auto removed = removeInstalledBundle(places_.bundles, places_.data);
    if (!removed) {
        logError(stringWithFormat("The plug-in could not be removed: %@", {removed.error().description}));
        notifier_.show("Quillstead", "Quillstead could not be removed completely. Its bundle is still there.");
        return;
    }
    logInfo("The plug-in was removed.");
    whenDone_();
}

}  // namespace qs
