#include "Core/QSQuillsteadPreferenceModule.h"

#include <algorithm>

#include "Account/AccountSettings.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Core/SettingsTable.h"
#include "Foundation/RunLoop.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Services/QSServicesPane.h"
#include "Settings/UserDefaults.h"
#include "Unsubscribe/UnsubscribeSettings.h"

namespace qs {

namespace {

constexpr const char* kClassName = "QSQuillsteadPreferenceModule";
constexpr const char* kCheckForUpdates = "com.apple.Mail.Quillstead.CheckForUpdates";

FormControl checkBox(std::string id, std::string label, std::function<void(bool)> onChange) {
    FormControl control;
    control.kind = FormControl::Kind::CheckBox;
    control.value = QSPluginDelegate::quillsteadDefaults().boolForKey(id);
    control.id = std::move(id);
    control.label = std::move(label);
    control.onChange = [onChange = std::move(onChange)](const Value& value) { onChange(value.boolValue()); };
    return control;
}

void checkForUpdates(Dictionary userInfo) {
    userInfo["QSUpdateIncludeBeta"] = QSPluginDelegate::quillsteadDefaults().boolForKey("QSUpdateBetaVersions");
    QSPluginDelegate::sharedDelegate().triggerHelperWithNotificationName(kCheckForUpdates, std::move(userInfo));
}

}  // namespace

QSQuillsteadPreferenceModule::QSQuillsteadPreferenceModule()
    : PreferencesModule((ClassRegistry::current().define(kClassName), kClassName)),
      services_(std::make_shared<QSServicesPane>()) {}

std::shared_ptr<QSQuillsteadPreferenceModule> QSQuillsteadPreferenceModule::sharedInstance() {
    auto& held = QSSession::current().preferenceModule();
    if (!held) held = std::make_shared<QSQuillsteadPreferenceModule>();
    return std::static_pointer_cast<QSQuillsteadPreferenceModule>(held);
}

std::shared_ptr<FormModel> QSQuillsteadPreferenceModule::form() {
    auto form = std::make_shared<FormModel>();
    form->identifier = "Quillstead";
    form->title = "Quillstead";
    form->shownGroup = shownGroup_;
    form->groups = settingsGroups();
    form->groups.insert(form->groups.begin() + 1, {accountGroup(), updatesGroup()});
    const auto services = services_->groups();
    form->groups.insert(form->groups.begin() + 3, services.begin(), services.end());
    form->groups.push_back(newslettersGroup());
    return form;
}

void QSQuillsteadPreferenceModule::showServices() {
    shownGroup_ = QSLocalizedString("Services");
    noteModelChange();
}

void QSQuillsteadPreferenceModule::willBeDisplayed() {
    shownGroup_.clear();
    if (const auto& fetch = QSSession::current().lifecycleHooks().fetchRemoteInfo) fetch(false, nullptr);
}

void QSQuillsteadPreferenceModule::observe(const Window& window) {
    becameKey_ = NotificationCenter::defaultCenter().addObserver(
        std::string(NSWindowDidBecomeKeyNotification), [](const Notification&) { windowDidBecomeKey(); }, &window);
}

void QSQuillsteadPreferenceModule::windowDidBecomeKey() {
    if (!QSSession::currentIfLoaded()) return;
    auto& session = QSSession::current();
    if (const auto& fetch = session.lifecycleHooks().fetchRemoteInfo) fetch(false, nullptr);
    if (const auto& sync = session.lifecycleHooks().syncLinkedServices) session.globalQueue().add(sync);
}

FormGroup QSQuillsteadPreferenceModule::updatesGroup() {
    FormGroup group{.title = QSLocalizedString("Updates"), .note = {}, .controls = {}};
    group.controls.push_back(checkBox("QSEnableAutomaticUpdates", QSLocalizedString("Update automatically"),
                                      [this](bool enabled) { automaticUpdatesDidChange(enabled); }));
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    // Who once used beta versions may go on choosing.
    if (defaults.boolForKey("QSEnableBetaUpdatesOption"))
        group.controls.push_back(
            checkBox("QSUpdateBetaVersions", QSLocalizedString("Include beta versions"), [](bool enabled) {
                QSPluginDelegate::quillsteadDefaults().setObject(enabled, "QSUpdateBetaVersions");
            }));
    FormControl check;
    check.kind = FormControl::Kind::Button;
    check.id = "checkForUpdates";
    check.label = QSLocalizedString("Check for Updates");
    check.onChange = [](const Value&) { checkForUpdates({{"QSUpdateShowDialog", true}}); };
    group.controls.push_back(std::move(check));
    return group;
}

void QSQuillsteadPreferenceModule::automaticUpdatesDidChange(bool enabled) {
    auto self = shared_from_this();  // the sheet below may outlive the window that called
    auto panel = preferences::sharedPreferences.onClass(QSClassFromString("NSPreferences"));
    auto window = panel ? panel->preferencesPanel() : nullptr;
    if (!enabled && window) {
        const int answer = QSRunAlertSheet(
            *window, QSLocalizedString("Confirm Disabling of Automatic Updates"),
            QSLocalizedString("Updates mend faults and keep your mail safe. Do you really want to look after them "
                              "yourself?"),
            {QSLocalizedString("Yes"), QSLocalizedString("No")});
        enabled = answer != kAlertFirstButtonReturn;
    }
    QSPluginDelegate::quillsteadDefaults().setObject(enabled, "QSEnableAutomaticUpdates");
    noteModelChange();
    checkForUpdates({{"QSUpdateAutoUpdate", enabled}});
}

}  // namespace qs
