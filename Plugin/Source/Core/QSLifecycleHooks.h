// What the lifecycle drives in the plug-in's other parts: account, services, tracking. Each part fills in its
// own hooks when the session is made; an empty hook means that the part isn't there, and its step is passed over.
//
// Threads are those of the callers in QSPluginDelegate, told at each hook. What is called off the main thread must not
// wait for that: the plug-in's end waits for it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class Mailbox;
class Menu;
class Window;

// A service that waits for the answer of its sign-in page.
struct QSRedirectTarget {
    bool linked = false, linking = false;
    std::function<void(const std::string& code)> authenticateWithCode;  // empty: its worker takes no code
};

struct QSLifecycleHooks {
    // The account at the backend.
    std::function<void(bool now, std::function<void()> completion)> fetchRemoteInfo;  // any thread; completion on main
    std::function<bool()> hasCredentials;                                             // main
    std::function<std::optional<std::string>()> userName, userEmail;                  // main
    std::function<void(std::shared_ptr<Window> window, bool registration)> showAccount;  // main
    std::function<void()> saveUser;                                                      // main
    std::function<void(const std::string& email)> removeKeychainItem;                    // main

    // Linked services.
    std::function<void()> syncLinkedServices;                                       // a global queue
    std::function<void()> saveServices;                                             // main
    std::function<std::vector<QSRedirectTarget>(int serviceType)> redirectTargets;  // main
    std::function<void()> unlinkAllServices;                                        // main

    std::function<void()> syncTrackingPixels;  // main

    // A record of the object store was made, changed or deleted; told for each, long before it is saved.
    std::function<void(std::string_view entityName)> recordDidChange;  // main

    // Snoozing.
    std::function<bool(const Mailbox& mailbox)> isSnoozeMailbox;  // main
    std::function<std::shared_ptr<Menu>()> snoozeOptionsMenu;     // main
};

}  // namespace qs
