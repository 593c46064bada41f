// Toolbars as models. Which items a toolbar may have and what they are its delegate says, through the exchangeable
// operations in ToolbarDelegate, so that a plug-in can add its own.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class Menu;
class MenuItem;
class Toolbar;
class View;

class ToolbarItem : public HostObject {
public:
    // Class "NSToolbarItem", or "BorderlessToolbarItem".
    explicit ToolbarItem(std::string itemIdentifier, std::string_view className = "NSToolbarItem");

    const std::string& itemIdentifier() const { return identifier_; }
    std::string label, paletteLabel, toolTip;
    std::string imageName;             // "plugin:TB_SendLaterTemplate", or a host symbol: "send"
    std::string action;                // selector name
    std::weak_ptr<HostObject> target;  // null: the chain of responders
    bool enabled = true;               // as last validated
    std::shared_ptr<Menu> menu;        // drops down from the item
    std::shared_ptr<MenuItem> menuFormRepresentation;
    int visibilityPriority = 0;
    int minimumWidth = 0, maximumWidth = 0;  // points; 0 leaves it to the page

    // The view that the item is shown by, null before it stands in a window's toolbar.
    std::shared_ptr<View> view() const { return view_; }
    void setView(std::shared_ptr<View> view) { view_ = std::move(view); }

private:
    std::string identifier_;
    std::shared_ptr<View> view_;
};

// What a toolbar asks of its delegate (a compose controller, a viewer). All exchangeable.
namespace toolbar_delegate {
inline const Operation<std::shared_ptr<ToolbarItem>(Toolbar& toolbar, const std::string& identifier,
                                                    bool willBeInserted)>
    itemForItemIdentifier{"toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:"};
inline const Operation<std::vector<std::string>(Toolbar& toolbar)> defaultItemIdentifiers{
    "toolbarDefaultItemIdentifiers:"};
inline const Operation<std::vector<std::string>(Toolbar& toolbar)> allowedItemIdentifiers{
    "toolbarAllowedItemIdentifiers:"};
inline const Operation<bool(ToolbarItem& item)> validateToolbarItem{"validateToolbarItem:"};
}  // namespace toolbar_delegate

// Identifiers with a meaning of their own.
inline constexpr const char* kToolbarSpace = "NSToolbarSpaceItem";
inline constexpr const char* kToolbarFlexibleSpace = "NSToolbarFlexibleSpaceItem";

class Toolbar : public HostObject {
public:
    // Class "NSToolbar". Empty until setDelegate.
    explicit Toolbar(std::string identifier);

    const std::string& identifier() const { return identifier_; }
    // Asks the delegate for its default items and makes them, for the given window.
    void setDelegate(std::weak_ptr<HostObject> delegate, std::weak_ptr<class Window> window);
    std::shared_ptr<HostObject> delegate() const { return delegate_.lock(); }
    const std::vector<std::shared_ptr<ToolbarItem>>& items() const { return items_; }
    std::vector<std::shared_ptr<ToolbarItem>> visibleItems() const { return items_; }
    // Asks the delegate for the item. Nothing happens when it knows none or the item is there already (spaces may stand
    // more than once). An index beyond the end is the end.
    void insertItemWithItemIdentifier(const std::string& identifier, std::size_t atIndex);
    void removeItemAtIndex(std::size_t index);
    // Asks for each item's validity: its target if that answers validateToolbarItem:, else the delegate; an item that
    // nobody judges is valid. Notes no change of the model, as it is called while models are drawn.
    void validateVisibleItems();

private:
    std::string identifier_;
    std::weak_ptr<HostObject> delegate_;
    std::weak_ptr<class Window> window_;
    std::vector<std::shared_ptr<ToolbarItem>> items_;
};

}  // namespace qs
