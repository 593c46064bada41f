#include "Models/Toolbar.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Models/Menu.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"

namespace qs {
namespace {

bool isSpace(std::string_view identifier) { return identifier == kToolbarSpace || identifier == kToolbarFlexibleSpace; }

std::string anchorOf(const Window& window, const std::string& item) {
    if (window.identifier() == "preferences") return "preferences:" + item;
    return "toolbar:" + window.identifier() + ":" + item;
}

// Who knows whether the item can be used now: its target if that cares, else the toolbar's delegate.
bool isValid(ToolbarItem& item, const std::shared_ptr<HostObject>& delegate) {
    for (const auto& asked : {item.target.lock(), delegate})
        if (asked && toolbar_delegate::validateToolbarItem.isAnsweredBy(*asked))
            return toolbar_delegate::validateToolbarItem(asked, item);
    return true;
}

// Null when the delegate knows none. One item's fault must not cost the others.
std::shared_ptr<ToolbarItem> makeItem(const std::shared_ptr<HostObject>& delegate, Toolbar& toolbar,
                                      const std::string& identifier) {
    if (!delegate || !toolbar_delegate::itemForItemIdentifier.isAnsweredBy(*delegate)) return nullptr;
    try {
        return toolbar_delegate::itemForItemIdentifier(delegate, toolbar, identifier, true);
    } catch (const std::exception&) {
        logCaughtException("The toolbar item " + identifier + " can't be made");
        return nullptr;
    }
}

}  // namespace

ToolbarItem::ToolbarItem(std::string itemIdentifier, std::string_view className)
    : HostObject(className), identifier_(std::move(itemIdentifier)) {}

Toolbar::Toolbar(std::string identifier) : HostObject("NSToolbar"), identifier_(std::move(identifier)) {}

void Toolbar::setDelegate(std::weak_ptr<HostObject> delegate, std::weak_ptr<Window> window) {
    delegate_ = std::move(delegate);
    window_ = std::move(window);
    items_.clear();
    noteModelChange();
    const auto asked = delegate_.lock();
    if (!asked || !toolbar_delegate::defaultItemIdentifiers.isAnsweredBy(*asked)) return;
    try {
        for (const std::string& identifier : toolbar_delegate::defaultItemIdentifiers(asked, *this))
            insertItemWithItemIdentifier(identifier, items_.size());
    } catch (const std::exception&) {
        logCaughtException("The toolbar " + identifier_ + " stands without its items");
    }
}

void Toolbar::insertItemWithItemIdentifier(const std::string& identifier, std::size_t atIndex) {
    std::shared_ptr<ToolbarItem> item;
    if (isSpace(identifier)) {
        item = std::make_shared<ToolbarItem>(identifier);
    } else {
        // An item stands in a toolbar once.
        const auto present = std::ranges::find(items_, identifier, [](const auto& i) { return i->itemIdentifier(); });
        if (present != items_.end()) return;
        item = makeItem(delegate_.lock(), *this, identifier);
        if (!item) return logWarning("Nobody knows the toolbar item " + identifier + "; it is left out.");
    }
    if (const auto window = window_.lock(); window && !item->view())
        item->setView(std::make_shared<View>(anchorOf(*window, identifier), window));
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(std::min(atIndex, items_.size())), std::move(item));
    noteModelChange();
}

void Toolbar::removeItemAtIndex(std::size_t index) {
    if (index >= items_.size()) return;
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
    noteModelChange();
}

// Notes no model change: it is asked for while models are being drawn.
void Toolbar::validateVisibleItems() {
    const auto asked = delegate_.lock();
    for (const auto& item : std::vector(items_)) {
        if (isSpace(item->itemIdentifier())) continue;
        try {
            item->enabled = isValid(*item, asked);
        } catch (const std::exception&) {
            item->enabled = false;
            logCaughtException("The toolbar item " + item->itemIdentifier() + " can't be validated");
        }
    }
}

}  // namespace qs
