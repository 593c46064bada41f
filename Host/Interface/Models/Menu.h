// Menus as models: items with title, action, key, tag, submenu. What an action does is found when it is chosen: the
// selector goes to the item's target, or along the chain of responders (key window's controller, viewer, application).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class Menu;
struct FormModel;

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
    void setTitle(std::string title) { setTitle(std::move(title), {}); }
    // With an end that is drawn fainter, such as a date in brackets: it is the end of title().
    void setTitle(std::string title, std::string faintEnd);
    const std::string& faintEnd() const { return faintEnd_; }
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
    // Decided by whoever made the item; unset: by who answers its action, each time that the menu is shown.
    const std::optional<bool>& isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    // Stands over what follows and cannot be chosen.
    bool isHeading() const { return heading_; }
    void setHeading(bool heading);
    // How far the title is set in, below a heading that it belongs to: 0 to 15.
    int indentationLevel() const { return indentation_; }
    void setIndentationLevel(int level);
    // What the menu shows in place of the title; null for none. The menu stays open while it is filled in.
    std::shared_ptr<FormModel> form() const { return form_; }
    void setForm(std::shared_ptr<FormModel> form);
    const std::string& toolTip() const { return toolTip_; }
    void setToolTip(std::string toolTip);
    const std::string& imageName() const { return imageName_; }
    void setImageName(std::string name);
    const std::string& imageColor() const { return imageColor_; }  // "#AABBCC"; empty: that of the title
    void setImageColor(std::string color);
    std::shared_ptr<HostObject> representedObject() const { return representedObject_; }
    void setRepresentedObject(std::shared_ptr<HostObject> object);

private:
    std::string title_, faintEnd_, action_, keyEquivalent_, toolTip_, imageName_, imageColor_;
    std::weak_ptr<HostObject> target_;
    int tag_ = 0, state_ = 0, indentation_ = 0;
    unsigned modifiers_ = kCommandKey;
    bool separator_ = false, hidden_ = false, heading_ = false;
    std::optional<bool> enabled_;
    std::shared_ptr<FormModel> form_;
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

    // Brings the menu up to date before it is shown: its delegate's menuNeedsUpdate:.
    void setUpdateHandler(std::function<void(Menu& menu)> menuNeedsUpdate) {
        menuNeedsUpdate_ = std::move(menuNeedsUpdate);
    }
    // For whoever shows the menu, right before; its submenus too. What a handler throws is logged.
    void update();
    // Closes the menu if it is open: after what was done within it, such as a button of a form.
    void cancelTracking() { isCancelled_ = true; }
    bool isTrackingCancelled() const { return isCancelled_; }  // since it was last shown

private:
    std::string title_;
    bool isCancelled_ = false;
    std::function<void(Menu&)> menuNeedsUpdate_;
    std::vector<std::shared_ptr<MenuItem>> items_;
};

}  // namespace qs
