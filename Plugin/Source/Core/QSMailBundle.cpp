#include "Core/QSMailBundle.h"

#include "Account/AccountHooks.h"
#include "Application/Bundles.h"
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Log.h"
#include "MailCategories/StatusIcons.h"
#include "Notes/NoteHooks.h"
#include "Platform.h"
#include "Reminder/ReminderHooks.h"
#include "Services/ServiceHooks.h"
#include "Settings/UserDefaults.h"
#include "Snooze/SnoozeHooks.h"
#include "SystemFacts/ProcessInfo.h"
#include "Tracking/TrackingHooks.h"

namespace qs {

namespace {

constexpr TimeInterval kLogRollingFrequency = 604800;
constexpr int kLogFiles = 4;

std::unique_ptr<QSSession> loadedSession;
QSSession* initializedSession = nullptr;

void addLoggers(QSSession& session) {
    session.addLogger(DDASLLogger::sharedInstance());
    session.addLogger(DDTTYLogger::sharedInstance());
    auto info = Platform::current().processInfo;
    if (!info) return;
    auto file = DDFileLogger::make(info->logFolder(), "Quillstead");
    file->setRollingFrequency(kLogRollingFrequency);
    file->setMaximumNumberOfLogFiles(kLogFiles);
    session.addLogger(std::move(file));
}

}  // namespace

Class& QSMailBundle::defineClass() {
    Class& cls = ClassRegistry::current().define("QSMailBundle");
    cls.addClassMethod(mail_bundle::hasPreferencesPanel, [](Class&) { return true; });
    cls.addClassMethod(mail_bundle::preferencesOwnerClassName,
                       [](Class&) { return std::string("QSQuillsteadPreferenceModule"); });
    cls.addClassMethod(mail_bundle::preferencesPanelName, [](Class&) { return std::string("Quillstead"); });
    return cls;
}

void QSMailBundle::initialize() {
    auto& session = QSSession::current();
    if (initializedSession == &session) return;
    initializedSession = &session;

    addLoggers(session);
    Class& cls = defineClass();
    Class* superclass = NSClassFromString("MVMailBundle");
    if (superclass && cls.superclass() != superclass) cls.setSuperclass(superclass);
    if (cls.find(MethodKind::Class, mail_bundle::registerBundle.selector())) mail_bundle::registerBundle.onClass(&cls);

    installAccountHooks(session);
    installServiceHooks(session);
    installTrackingHooks(session);
    installSnoozeHooks(session);
    installStatusIconHooks(session);
    installNoteHooks(session);
    installReminderHooks(session);
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    if (defaults.boolForKey("QSUpdateBetaVersions")) defaults.setObject(true, "QSEnableBetaUpdatesOption");
    QSPluginDelegate::sharedDelegate().initializePlugin();
}

}  // namespace qs

extern "C" __attribute__((visibility("default"))) void MailBundleUnload() {
    qs::loadedSession.reset();
    qs::initializedSession = nullptr;
}

// What the host calls when it has opened the library: first the patches, then the principal class.
extern "C" __attribute__((visibility("default"))) void MailBundleLoad(std::shared_ptr<qs::Bundle> bundle) {
    MailBundleUnload();
    qs::loadedSession = std::make_unique<qs::QSSession>(std::move(bundle));
    try {
        qs::PatchClassRegistration::loadAll();
        qs::QSMailBundle::initialize();
    } catch (...) {
        MailBundleUnload();
        throw;
    }
}
