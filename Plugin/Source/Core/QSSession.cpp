#include "Core/QSSession.h"

#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Foundation/Assertion.h"
#include "Foundation/Bundle.h"
#include "Foundation/Log.h"
#include "Foundation/Runtime.h"
#include "Outgoing/QSSendHooks.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {
QSSession* currentSession = nullptr;
}

QSSession::QSSession(std::shared_ptr<Bundle> bundle)
    : bundle_(std::move(bundle)),
      lifecycleHooks_(std::make_unique<QSLifecycleHooks>()),
      sendHooks_(std::make_unique<QSSendHooks>()) {
    currentSession = this;
}

QSSession::~QSSession() {
    delegate_.reset();
    for (const auto& logger : loggers_)
        DDLog::removeLogger(logger);
    if (currentSession == this) currentSession = nullptr;
}

QSSession& QSSession::current() {
    assertThat(currentSession != nullptr, "The plug-in is not loaded.");
    return *currentSession;
}

QSSession* QSSession::currentIfLoaded() { return currentSession; }

void QSSession::addLogger(std::shared_ptr<DDLogger> logger) {
    DDLog::addLogger(logger);
    loggers_.push_back(std::move(logger));
}

std::string QSLocalizedString(std::string_view key) { return QSSession::current().bundle().localizedStringForKey(key); }

}  // namespace qs
