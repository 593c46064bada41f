#include "Responders.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"

namespace qs {
namespace {

const Operation<bool(MenuItem& item)> validateMenuItem{"validateMenuItem:"};

}  // namespace

std::shared_ptr<HostObject> responderFor(std::string_view selector, HostObject* target, const ResponderChain& chain) {
    if (selector.empty()) return nullptr;
    const Selector action(selector);
    if (target) return target->respondsTo(action) ? target->shared_from_this() : nullptr;
    const auto found =
        std::ranges::find_if(chain, [&](const auto& responder) { return responder->respondsTo(action); });
    return found == chain.end() ? nullptr : *found;
}

bool isValidFor(HostObject& responder, HostObject* sender) {
    try {
        if (auto* item = dynamic_cast<MenuItem*>(sender))
            return !validateMenuItem.isAnsweredBy(responder) || validateMenuItem(responder, *item);
        if (auto* item = dynamic_cast<ToolbarItem*>(sender)) {
            const auto& validate = toolbar_delegate::validateToolbarItem;
            return !validate.isAnsweredBy(responder) || validate(responder, *item);
        }
    } catch (const std::exception&) {
        logCaughtException("An item could not be validated");
        return false;
    }
    return true;
}

bool isEnabledIn(const ResponderChain& chain, MenuItem& item) {
    if (item.isSeparatorItem() || item.isHeading() || item.form()) return false;
    if (item.isEnabled()) return *item.isEnabled();
    const auto responder = responderFor(item.action(), item.target().get(), chain);
    if (!responder) return item.submenu() != nullptr;
    return isValidFor(*responder, &item);
}

}  // namespace qs
