// Everything that one loaded plug-in owns. sharedDelegate() and its like are windows onto the current session, so that
// a test can make and drop a whole plug-in, and nothing depends on the order in which statics go.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <typeindex>
#include <utility>
#include <vector>

namespace qs {

class Bundle;
class DDLogger;
class HostObject;
class OperationQueue;
class QSPluginDelegate;
class QSPopoverController;
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

    // An assertion failure when no plug-in is loaded. From every thread whose work the host or globalQueue() ends
    // before the plug-in is unloaded.
    static QSSession& current();
    // Null when no plug-in is loaded: its patches stay in the host's classes and then leave the host to itself.
    static QSSession* currentIfLoaded();

    Bundle& bundle() { return *bundle_; }
    QSLifecycleHooks& lifecycleHooks() { return *lifecycleHooks_; }
    QSSendHooks& sendHooks() { return *sendHooks_; }
    QSPopoverController& popoverController() { return *popoverController_; }
    // For work off the main thread that reaches into the plug-in: the session ends only when what runs here is done. So
    // nothing here may wait for the main thread.
    OperationQueue& globalQueue() { return *globalQueue_; }
    // The one object of a part that needs no place of its own here, made at the first call and gone with the session;
    // what was made later goes first. Main thread.
    template <class T>
    T& part() {
        for (const auto& [type, object] : parts_)
            if (type == std::type_index(typeid(T))) return *static_cast<T*>(object.get());
        auto made = std::make_shared<T>();
        parts_.emplace_back(typeid(T), made);
        return *made;
    }
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
    std::shared_ptr<QSPopoverController> popoverController_;
    std::once_flag defaultsOnce_;
    std::shared_ptr<UserDefaults> defaults_;
    std::unique_ptr<UserDefaultsController> defaultsController_;
    std::unique_ptr<QSPluginDelegate> delegate_;
    std::shared_ptr<HostObject> preferenceModule_;
    std::vector<std::pair<std::type_index, std::shared_ptr<void>>> parts_;
    std::unique_ptr<OperationQueue> globalQueue_;
};

// A text for the person, translated by the plug-in's bundle; the English text is the key.
std::string QSLocalizedString(std::string_view key);

}  // namespace qs
