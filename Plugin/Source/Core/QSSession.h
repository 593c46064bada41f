// Everything that one loaded plug-in owns. sharedDelegate() and its like are windows onto the current session, so that
// a test can make and drop a whole plug-in, and nothing depends on the order in which statics go.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class Bundle;
class DDLogger;
class HostObject;
class QSPluginDelegate;
class UserDefaults;
class UserDefaultsController;
struct QSLifecycleHooks;
struct QSSendHooks;

class QSSession {
public:
    explicit QSSession(std::shared_ptr<Bundle> bundle);  // becomes current()
    ~QSSession();
    QSSession(const QSSession&) = delete;
    QSSession& operator=(const QSSession&) = delete;

    // An assertion failure when no plug-in is loaded.
    static QSSession& current();
    static QSSession* currentIfLoaded();

    Bundle& bundle() { return *bundle_; }
    QSLifecycleHooks& lifecycleHooks() { return *lifecycleHooks_; }
    QSSendHooks& sendHooks() { return *sendHooks_; }
    // The pane in the preferences; null until it was asked for.
    std::shared_ptr<HostObject>& preferenceModule() { return preferenceModule_; }
    // Adds a logger for as long as the session lives.
    void addLogger(std::shared_ptr<DDLogger> logger);

private:
    friend class QSPluginDelegate;
    std::shared_ptr<Bundle> bundle_;
    std::vector<std::shared_ptr<DDLogger>> loggers_;
    std::unique_ptr<QSLifecycleHooks> lifecycleHooks_;
    std::unique_ptr<QSSendHooks> sendHooks_;
    std::once_flag defaultsOnce_;
    std::shared_ptr<UserDefaults> defaults_;
    std::unique_ptr<UserDefaultsController> defaultsController_;
    std::unique_ptr<QSPluginDelegate> delegate_;
    std::shared_ptr<HostObject> preferenceModule_;
};

// A text for the person, translated by the plug-in's bundle; the English text is the key.
std::string QSLocalizedString(std::string_view key);

}  // namespace qs
