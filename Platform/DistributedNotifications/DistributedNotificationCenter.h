// Notifications between processes of one user, over the D-Bus session bus where there is one. Without a bus posting
// does nothing but a debug line: nobody could hear it.
//
// On the bus: a signal "Posted" of the interface org.quillstead.DistributedNotifications at
// /org/quillstead/Notifications with the name, the object and the user info as a property list in XML form.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/NotificationCenter.h"
#include "Foundation/Value.h"

namespace qs {

class DistributedNotificationCenter {
public:
    virtual ~DistributedNotificationCenter() = default;
    // From every thread. `object` names the sender and may be empty.
    virtual void postNotificationName(std::string_view name, std::string_view object, const Value& userInfo) = 0;
    // The handler runs on the main thread. An empty name hears everything.
    [[nodiscard]] virtual ObservationRef
    addObserver(std::string name, std::function<void(std::string_view name, const Value& userInfo)> handler) = 0;
    virtual bool isConnected() const = 0;
};

}  // namespace qs
