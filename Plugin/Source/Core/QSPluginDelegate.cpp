#include "Core/QSPluginDelegate.h"

#include <cmath>

#include "Application/MailApp.h"
#include "Core/QSCrashReportOffer.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Core/Store/ManagedObjectContext.h"
#include "CrashReporter/CrashReporter.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/Message.h"
#include "Outgoing/AfterDelivery.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Viewer/MessageViewer.h"

namespace qs {

namespace {

constexpr TimeInterval kHeartbeatInterval = 30.0;
constexpr TimeInterval kServiceSyncDelay = 3.0;
constexpr TimeInterval kAccountOfferInterval = 1800.0;
constexpr TimeInterval kAccountOfferDelay = 1.2345;
constexpr TimeInterval kUpdateCheckDelay = 10.0;
// Names the program in crash reports.
constexpr std::string_view kCrashReporterIdentifier = "6f1d0c7be2a9458394d35cb8a17e60f2";

}  // namespace

QSPluginDelegate::QSPluginDelegate() : menuController_(QSDirectInboxMenuController::make()) {
    heartbeatTimer_ = RunLoop::main().every(kHeartbeatInterval, [this] { heartbeat(); });
    auto observe = [this](std::string_view name, void (QSPluginDelegate::*handler)()) {
        observations_.push_back(NotificationCenter::defaultCenter().addObserver(
            std::string(name), [this, handler](const Notification&) { (this->*handler)(); }));
    };
    observe(NSApplicationDidBecomeActiveNotification, &QSPluginDelegate::applicationDidBecomeActive);
    observe(NSApplicationWillTerminateNotification, &QSPluginDelegate::appWillTerminate);
    observe(NSApplicationWillResignActiveNotification, &QSPluginDelegate::appWillResignActive);
    observe(MailApplicationDidFinishLaunchingNotification, &QSPluginDelegate::mailApplicationDidFinishLaunching);
    observations_.push_back(NotificationCenter::defaultCenter().addObserver(
        std::string(DeliveryWasSettledNotification), [](const Notification& notification) {
            const auto* message = dynamic_cast<const Message*>(notification.object);
            if (auto headers = message ? message->headersIfAvailable() : nullptr) finishDelivery(std::move(headers));
        }));
}

QSPluginDelegate::~QSPluginDelegate() {
    if (heartbeatTimer_) heartbeatTimer_->invalidate();
}

QSPluginDelegate& QSPluginDelegate::sharedDelegate() {
    auto& session = QSSession::current();
    if (!session.delegate_) session.delegate_ = std::make_unique<QSPluginDelegate>();
    return *session.delegate_;
}

void QSPluginDelegate::defibrillate() {
    if (heartbeatTimer_) {
        heartbeatTimer_->invalidate();
        heartbeatTimer_.reset();
    }
    heartbeatTimer_ = RunLoop::main().every(kHeartbeatInterval, [this] { heartbeat(); });
    heartbeat();
}

// Off the main thread, so that neither the walk of the outbox nor the account's fetch holds up the interface. Only the
// tracking sync comes back, as it works on the object store.
void QSPluginDelegate::heartbeat() {
    auto& session = QSSession::current();
    const auto& hooks = session.lifecycleHooks();
    session.globalQueue().add(
        [fetch = hooks.fetchRemoteInfo, sync = hooks.syncTrackingPixels, alive = std::weak_ptr<bool>(alive_)] {
            if (auto queue = DeliveryQueue::sharedDeliveryQueue()) queue->resetStateAndReprocessQueue();
            if (fetch) fetch(false, nullptr);
            if (!sync) return;
            RunLoop::main().post([sync, alive] {
                if (!alive.expired()) sync();
            });
        });
}

void QSPluginDelegate::mailApplicationDidFinishLaunching() {
    startCrashReporter();
    std::weak_ptr<bool> alive = alive_;
    RunLoop::main().after(kUpdateCheckDelay, [this, alive] {
        if (alive.expired()) return;
        triggerHelperWithNotificationName(
            "com.apple.Mail.Quillstead.CheckForUpdates",
            Dictionary{{"QSUpdateIncludeBeta", quillsteadDefaults().boolForKey("QSUpdateBetaVersions")}});
    });
    const auto& hooks = QSSession::current().lifecycleHooks();
    if (hooks.fetchRemoteInfo) hooks.fetchRemoteInfo(true, nullptr);
    // The first activation must not depend on the host's notification.
    applicationDidBecomeActive();
}

void QSPluginDelegate::startCrashReporter() {
    auto reporter = Platform::current().crashReporter;
    auto& session = QSSession::current();
    const auto& info = session.bundle().infoDictionary();
    auto version = info.find("CFBundleVersion");
    Value build = version == info.end() ? Value() : version->second;

    if (reporter) reporter->configureWithIdentifier(kCrashReporterIdentifier);
    auto standard = UserDefaults::suite("");
    for (const auto& [key, value] :
         {std::pair<std::string, Value>{"BitCrashMetaBundleIdentifier", session.bundle().identifier()},
          {"BitCrashMetaApplicationVersion", build},
          {"BitCrashMetaApplicationBuild", build}}) {
        standard->setObject(value, key);
        if (reporter) reporter->setMetaData(key, value.stringValue());
    }
    if (!reporter) return;
    const auto& hooks = session.lifecycleHooks();
    if (auto name = hooks.userName ? hooks.userName() : std::nullopt) reporter->setUserName(*name);
    if (auto email = hooks.userEmail ? hooks.userEmail() : std::nullopt) reporter->setUserEmail(*email);
    reporter->startManager();
    offerPendingCrashReports();
}

void QSPluginDelegate::applicationDidBecomeActive() {
    const auto& hooks = QSSession::current().lifecycleHooks();
    std::weak_ptr<bool> alive = alive_;
    if (hooks.fetchRemoteInfo)
        hooks.fetchRemoteInfo(false, [this, alive] {
            if (!alive.expired()) offerAccount();
        });
    RunLoop::main().after(kServiceSyncDelay, [alive] {
        if (alive.expired()) return;
        auto& session = QSSession::current();
        if (const auto& sync = session.lifecycleHooks().syncLinkedServices) session.globalQueue().add(sync);
    });
    defibrillate();
}

// At most once in half an hour, unless a login was asked for.
void QSPluginDelegate::offerAccount() {
    const auto& hooks = QSSession::current().lifecycleHooks();
    const bool login = showLoginNextTime_;
    const Date now = RunLoop::main().now();
    if (!login && lastRegistrationDate_ && !(std::abs(now - *lastRegistrationDate_) > kAccountOfferInterval)) return;
    if (hooks.hasCredentials && hooks.hasCredentials()) return;
    std::weak_ptr<bool> alive = alive_;
    RunLoop::main().after(kAccountOfferDelay, [alive, login] {
        if (alive.expired()) return;
        auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0);
        const auto& show = QSSession::current().lifecycleHooks().showAccount;
        if (show) show(viewer ? viewer->window() : nullptr, !login);
    });
    lastRegistrationDate_ = now;
}

void QSPluginDelegate::appWillResignActive() {
    const auto& hooks = QSSession::current().lifecycleHooks();
    if (hooks.saveUser) hooks.saveUser();
    saveStoreAndServices();
}

void QSPluginDelegate::appWillTerminate() { saveStoreAndServices(); }

void QSPluginDelegate::saveStoreAndServices() {
    const auto saveServices = QSSession::current().lifecycleHooks().saveServices;
    try {
        saveCoreData();
    } catch (...) {
        // A store that can't be opened must not cost the list of services.
        if (saveServices) saveServices();
        throw;
    }
    if (saveServices) saveServices();
}

bool QSPluginDelegate::flagForKey(std::string_view key, std::string_view forUniqueID) const {
    if (key.empty() || forUniqueID.empty()) return false;
    std::scoped_lock lock(flagLock_);
    auto found = flagDict_.find(stringWithFormat("%@--%@", {forUniqueID, key}));
    return found != flagDict_.end() && found->second;
}

void QSPluginDelegate::setFlag(bool flag, std::string_view forKey, std::string_view forUniqueID) {
    if (forKey.empty() || forUniqueID.empty() || flagForKey(forKey, forUniqueID) == flag) return;
    std::scoped_lock lock(flagLock_);
    flagDict_[stringWithFormat("%@--%@", {forUniqueID, forKey})] = flag;
}

}  // namespace qs
