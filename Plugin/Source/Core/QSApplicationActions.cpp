#include "Core/QSApplicationActions.h"

#include "Application/Preferences.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSObjectStore.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Models/Alert.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "SystemFacts/ProcessInfo.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

// The maker's addresses stand in Info.plist, so that whoever ships the bundle can set them.
void openPage(std::string_view infoKey) {
    const auto& info = QSSession::current().bundle().infoDictionary();
    auto found = info.find(infoKey);
    auto workspace = Platform::current().workspace;
    if (found == info.end() || !workspace) return beep();
    auto opened = workspace->openURL(found->second.stringValue());
    if (!opened) logWarning("The page could not be opened: " + opened.error().description);
}

void removeSettings() {
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    for (const auto& [key, value] : defaults.dictionaryRepresentation())
        defaults.removeObjectForKey(key);
    if (auto written = defaults.synchronize(); !written)
        logError("The settings could not be removed: " + written.error().description);
    auto standard = UserDefaults::suite("");
    standard->setObject(false, "EnableContactPhotos");
    viewer_preferences::postContactPhotoPreferenceChanged.onClass(NSClassFromString("ViewerPreferences"));
}

void uninstall() {
    const auto& hooks = QSSession::current().lifecycleHooks();
    if (hooks.unlinkAllServices) hooks.unlinkAllServices();
    if (auto email = hooks.userEmail ? hooks.userEmail() : std::nullopt; email && hooks.removeKeychainItem)
        hooks.removeKeychainItem(*email);
    removeSettings();
    removeObjectStore();
    QSPluginDelegate::sharedDelegate().triggerHelperWithNotificationName("com.apple.Mail.Quillstead.Uninstall", {});
}

}  // namespace

void showLogFile() {
    std::shared_ptr<DDFileLogger> logger;
    for (const auto& each : DDLog::allLoggers())
        if ((logger = std::dynamic_pointer_cast<DDFileLogger>(each))) break;
    if (!logger) {
        beep();
        return logError("Could not find valid file logger for requested log file.");
    }
    auto path = logger->currentLogFilePath();
    if (!FileSystem::real().exists(path)) {
        beep();
        return logError("Could not find valid log file.");
    }
    auto workspace = Platform::current().workspace;
    auto opened = workspace ? workspace->openFile(path, "Console") : Result<void>();
    if (!opened) logWarning("The log file could not be opened: " + opened.error().description);
}

void askAndUninstall() {
    const int answer = QSRunAlertPanel(
        QSLocalizedString("Uninstall Quillstead"),
        QSLocalizedString("Do you really want to uninstall Quillstead?\nIf you have some problems with Quillstead's "
                          "services, please try to get in touch with the guys at Tallowbay first to try to resolve "
                          "these issues."),
        {QSLocalizedString("Contact Tallowbay"), QSLocalizedString("Uninstall"), QSLocalizedString("Cancel")});
    if (answer == kAlertFirstButtonReturn) openPage("QSSupportPage");
    if (answer == kAlertSecondButtonReturn) uninstall();
}

void openIssueTracker() { openPage("QSNewIssuePage"); }

}  // namespace qs
