// Menus as models: items with title, action, key, tag, submenu. What an action does is found when it is chosen: the
// selector goes to the item's target, or along the chain of responders (key window's controller, viewer, application).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class Menu;

// Modifier masks of key equivalents, as the platform's events have them. Command is the Ctrl key in the page.
enum KeyModifier : unsigned {
    kShiftKey = 1u << 17,
    kControlKey = 1u << 18,
    kOptionKey = 1u << 19,
    kCommandKey = 1u << 20
};

class MenuItem : public HostObject {
public:
    // Class "NSMenuItem".
    MenuItem(std::string title, std::string action, std::string keyEquivalent = {});
    static std::shared_ptr<MenuItem> separatorItem();

    bool isSeparatorItem() const { return separator_; }
    const std::string& title() const { return title_; }
    void setTitle(std::string title);
    // The selector's name, such as "sendLater:"; empty for an item without action.
    const std::string& action() const { return action_; }
    void setAction(std::string action);
    std::shared_ptr<HostObject> target() const { return target_.lock(); }
    void setTarget(std::weak_ptr<HostObject> target);
    int tag() const { return tag_; }
    void setTag(int tag);
    const std::string& keyEquivalent() const { return keyEquivalent_; }
    void setKeyEquivalent(std::string key);  // one character, or a name such as "Delete"; empty for none
    unsigned keyEquivalentModifierMask() const { return modifiers_; }
    void setKeyEquivalentModifierMask(unsigned mask);
    std::shared_ptr<Menu> submenu() const { return submenu_; }
    void setSubmenu(std::shared_ptr<Menu> submenu);
    int state() const { return state_; }  // 1: ticked
    void setState(int state);
    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden);
    const std::string& toolTip() const { return toolTip_; }
    void setToolTip(std::string toolTip);
    const std::string& imageName() const { return imageName_; }
    void setImageName(std::string name);
    std::shared_ptr<HostObject> representedObject() const { return representedObject_; }
    void setRepresentedObject(std::shared_ptr<HostObject> object);

private:
    std::string title_, action_, keyEquivalent_, toolTip_, imageName_;
    std::weak_ptr<HostObject> target_;
    int tag_ = 0, state_ = 0;
    unsigned modifiers_ = kCommandKey;
    bool separator_ = false, hidden_ = false;
    std::shared_ptr<Menu> submenu_;
    std::shared_ptr<HostObject> representedObject_;
};

class Menu : public HostObject {
public:
    // Class "NSMenu".
    explicit Menu(std::string title = {});

    const std::string& title() const { return title_; }
    const std::vector<std::shared_ptr<MenuItem>>& itemArray() const { return items_; }
    std::size_t numberOfItems() const { return items_.size(); }
    std::shared_ptr<MenuItem> itemAtIndex(std::size_t index) const;  // null beyond the end
    std::shared_ptr<MenuItem> itemWithTag(int tag) const;            // null for none
    std::shared_ptr<MenuItem> insertItemWithTitle(std::string title, std::string action, std::string keyEquivalent,
                                                  std::size_t atIndex);
    std::shared_ptr<MenuItem> addItemWithTitle(std::string title, std::string action, std::string keyEquivalent);
    void insertItem(std::shared_ptr<MenuItem> item, std::size_t atIndex);  // beyond the end: at the end
    void addItem(std::shared_ptr<MenuItem> item);
    void removeItem(const std::shared_ptr<MenuItem>& item);
    void removeAllItems();

private:
    std::string title_;
    std::vector<std::shared_ptr<MenuItem>> items_;
};

}  // namespace qs
