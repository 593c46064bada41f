#include "Core/QSSession.h"

#include <atomic>

#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Foundation/Assertion.h"
#include "Foundation/Bundle.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"
#include "Outgoing/QSSendHooks.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr int kMostAtOnce = 8;

std::atomic<QSSession*> currentSession = nullptr;

}  // namespace

QSSession::QSSession(std::shared_ptr<Bundle> bundle)
    : bundle_(std::move(bundle)),
      lifecycleHooks_(std::make_unique<QSLifecycleHooks>()),
      sendHooks_(std::make_unique<QSSendHooks>()),
      popoverController_(std::make_shared<QSPopoverController>()),
      globalQueue_(std::make_unique<OperationQueue>(kMostAtOnce)) {
    currentSession = this;
}

QSSession::~QSSession() {
    globalQueue_.reset();
    while (!parts_.empty())
        parts_.pop_back();
    popoverController_.reset();
    delegate_.reset();
    for (const auto& logger : loggers_)
        DDLog::removeLogger(logger);
    QSSession* self = this;
    currentSession.compare_exchange_strong(self, nullptr);
}

QSSession& QSSession::current() {
    QSSession* session = currentSession;
    assertThat(session != nullptr, "The plug-in is not loaded.");
    return *session;
}

QSSession* QSSession::currentIfLoaded() { return currentSession; }

void QSSession::addLogger(std::shared_ptr<DDLogger> logger) {
    DDLog::addLogger(logger);
    loggers_.push_back(std::move(logger));
}

std::string QSLocalizedString(std::string_view key) { return QSSession::current().bundle().localizedStringForKey(key); }

}  // namespace qs
