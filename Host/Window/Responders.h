// How an action finds who answers it: its target if it has one, else the first of the chain of responders that has a
// method of that name; and whether it can be done now.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class MenuItem;

using ResponderChain = std::vector<std::shared_ptr<HostObject>>;
using Action = Operation<void(HostObject* sender)>;

// Null when nobody answers. A target that lacks the action is not passed by: the action is then nobody's.
std::shared_ptr<HostObject> responderFor(std::string_view selector, HostObject* target, const ResponderChain& chain);

// What the responder says of the menu item or toolbar item that sends the action. Other senders, and responders that
// judge no items, are always valid. A fault of the responder is logged and makes the item invalid.
bool isValidFor(HostObject& responder, HostObject* sender);

// Enabled as a menu shows it: a submenu always, an action that is answered and valid, nothing else.
bool isEnabledIn(const ResponderChain& chain, MenuItem& item);

}  // namespace qs
