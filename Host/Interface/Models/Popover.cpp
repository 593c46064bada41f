#include "Models/Popover.h"

#include <utility>

#include "Foundation/Assertion.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"

namespace qs {
namespace {

std::vector<Popover*>& shownPopovers() {
    static std::vector<Popover*> shown;
    return shown;
}

}  // namespace

Popover::Popover(std::string identifier) : HostObject("NSPopover"), identifier_(std::move(identifier)) {}

Popover::~Popover() {
    try {
        close();
    } catch (const std::exception&) {
        logCaughtException("The popover " + identifier_ + " closed, but who opened it could not be told");
    }
}

void Popover::showRelativeTo(std::shared_ptr<View> view, int preferredEdge) {
    const auto window = view ? view->window() : nullptr;
    if (!window || !window->isVisible()) return;
    view_ = std::move(view);
    edge_ = preferredEdge;
    if (!std::exchange(shown_, true)) shownPopovers().push_back(this);
    noteModelChange();
}

void Popover::close() {
    if (!std::exchange(shown_, false)) return;
    const auto alive = weak_from_this().lock();  // the callback may drop the last reference
    std::erase(shownPopovers(), this);
    noteModelChange();
    if (const auto closed = onClose) closed();
}

const std::vector<Popover*>& Popover::allShown() { return shownPopovers(); }

}  // namespace qs
