// The centre of the plug-in: its lifecycle, the heartbeat that releases held mail, global menu items, settings and
// per-message flags, messages to the helper program.
//
// One for each loaded plug-in, as long as that lives. Main thread unless told otherwise.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Value.h"

namespace qs {

class ManagedObjectContext;
class Menu;
class Observation;
class QSDirectInboxMenuController;
class Timer;
class UserDefaults;
class UserDefaultsController;
class View;
class Window;

// Tags by which the plug-in's menu items are found again.
inline constexpr int kTagCreateQuickNote = 4416;
inline constexpr int kTagCreateNote = 4417;
inline constexpr int kTagUndoSend = 4418;
inline constexpr int kTagSendLater = 4419;
inline constexpr int kTagSnooze = 4420;

// Keys of per-message flags.
inline constexpr std::string_view QSMessageFlagSendImmediately = "QSMessageFlagSendImmediately";
inline constexpr std::string_view QSMessageOpenAfterUndo = "QSMessageOpenAfterUndo";

class QSPluginDelegate {
public:
    QSPluginDelegate();
    ~QSPluginDelegate();

    static QSPluginDelegate& sharedDelegate();  // made at the first call

    // The settings of the plug-in, set up at the first call. From every thread.
    static UserDefaults& quillsteadDefaults();
    static UserDefaultsController& quillsteadDefaultsController();

    // Adds the items of the Message and Help menus. A second call does nothing.
    void initializePlugin();
    // Starts the heartbeat anew and beats at once.
    void defibrillate();
    void heartbeat();

    // Makes sure that the helper runs and posts to it. From every thread; nothing is waited for.
    void triggerHelperWithNotificationName(std::string name, Value withUserInfo);

    // A flag that was never set is off. An empty unique id stands for a message without one: never set, always off.
    // From every thread. Flags are forgotten when the program ends.
    bool flagForKey(std::string_view key, std::string_view forUniqueID) const;
    void setFlag(bool flag, std::string_view forKey, std::string_view forUniqueID);

    // What global popovers point at; null when there is nothing.
    std::shared_ptr<View> anchorViewForPopover();
    // The inbox in the menu bar.
    QSDirectInboxMenuController& menuController() { return *menuController_; }
    // Redraws the message list and keeps the selected row.
    void refreshMessageList();
    // Gives the items of the Message menu the shortcuts of the settings.
    void updateGlobalMenuItems();
    void updateDockBadge();

    // The objects of the plug-in's store, which is opened (made, brought to this version) at the first access. An
    // assertion failure off the main thread, whenever it is asked, and when the store can't be opened.
    ManagedObjectContext& managedObjectContext();
    // Saves what has changed in the store, if there is one. Shows its own errors; what could not be saved is tried
    // again the next time.
    void saveCoreData();

    void applicationDidBecomeActive();
    void appWillResignActive();
    void appWillTerminate();
    void mailApplicationDidFinishLaunching();

    // The next activation offers the account window in its login form, whenever the last offer was.
    void setShowLoginNextTime(bool flag) { showLoginNextTime_ = flag; }
    bool showLoginNextTime() const { return showLoginNextTime_; }

private:
    void offerAccount();
    void saveStoreAndServices();
    void startCrashReporter();

    std::shared_ptr<QSDirectInboxMenuController> menuController_;
    std::shared_ptr<Timer> heartbeatTimer_;
    std::vector<std::unique_ptr<Observation>> observations_;
    std::optional<Date> lastRegistrationDate_;
    bool showLoginNextTime_ = false;
    bool pluginInitialized_ = false;
    std::unique_ptr<ManagedObjectContext> managedObjectContext_;
    std::string toldStoreError_;
    bool showsSaveError_ = false;
    mutable std::mutex flagLock_;
    std::map<std::string, bool> flagDict_;
    // Blocks that fire later ask it whether the plug-in is still there.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
