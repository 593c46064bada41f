#include "Models/Menu.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Models/ModelChanges.h"

namespace qs {
namespace {

template <class T>
void change(T& member, T value) {
    if (member == value) return;
    member = std::move(value);
    noteModelChange();
}

}  // namespace

MenuItem::MenuItem(std::string title, std::string action, std::string keyEquivalent)
    : HostObject("NSMenuItem"),
      title_(std::move(title)),
      action_(std::move(action)),
      keyEquivalent_(std::move(keyEquivalent)) {}

std::shared_ptr<MenuItem> MenuItem::separatorItem() {
    auto item = std::make_shared<MenuItem>("", "");
    item->separator_ = true;
    return item;
}

void MenuItem::setTitle(std::string title, std::string faintEnd) {
    change(title_, title + faintEnd);
    change(faintEnd_, std::move(faintEnd));
}
void MenuItem::setAction(std::string action) { change(action_, std::move(action)); }
void MenuItem::setTarget(std::weak_ptr<HostObject> target) {
    target_ = std::move(target);
    noteModelChange();
}
void MenuItem::setTag(int tag) { tag_ = tag; }
void MenuItem::setKeyEquivalent(std::string key) { change(keyEquivalent_, std::move(key)); }
void MenuItem::setKeyEquivalentModifierMask(unsigned mask) { change(modifiers_, mask); }
void MenuItem::setSubmenu(std::shared_ptr<Menu> submenu) { change(submenu_, std::move(submenu)); }
void MenuItem::setState(int state) { change(state_, state); }
void MenuItem::setHidden(bool hidden) { change(hidden_, hidden); }
void MenuItem::setEnabled(bool enabled) { change(enabled_, std::optional(enabled)); }
void MenuItem::setHeading(bool heading) { change(heading_, heading); }
void MenuItem::setForm(std::shared_ptr<FormModel> form) { change(form_, std::move(form)); }
void MenuItem::setIndentationLevel(int level) { change(indentation_, std::clamp(level, 0, 15)); }
void MenuItem::setToolTip(std::string toolTip) { change(toolTip_, std::move(toolTip)); }
void MenuItem::setImageName(std::string name) { change(imageName_, std::move(name)); }
void MenuItem::setImageColor(std::string color) { change(imageColor_, std::move(color)); }
void MenuItem::setRepresentedObject(std::shared_ptr<HostObject> object) { representedObject_ = std::move(object); }

Menu::Menu(std::string title) : HostObject("NSMenu"), title_(std::move(title)) {}

std::shared_ptr<MenuItem> Menu::itemAtIndex(std::size_t index) const {
    return index < items_.size() ? items_[index] : nullptr;
}

std::shared_ptr<MenuItem> Menu::itemWithTag(int tag) const {
    const auto found = std::find_if(items_.begin(), items_.end(), [&](const auto& item) { return item->tag() == tag; });
    return found == items_.end() ? nullptr : *found;
}

std::shared_ptr<MenuItem> Menu::insertItemWithTitle(std::string title, std::string action, std::string keyEquivalent,
                                                    std::size_t atIndex) {
    auto item = std::make_shared<MenuItem>(std::move(title), std::move(action), std::move(keyEquivalent));
    insertItem(item, atIndex);
    return item;
}

std::shared_ptr<MenuItem> Menu::addItemWithTitle(std::string title, std::string action, std::string keyEquivalent) {
    return insertItemWithTitle(std::move(title), std::move(action), std::move(keyEquivalent), items_.size());
}

void Menu::insertItem(std::shared_ptr<MenuItem> item, std::size_t atIndex) {
    assertThat(item != nullptr, "A menu takes no item that is null");
    const auto place = items_.begin() + static_cast<std::ptrdiff_t>(std::min(atIndex, items_.size()));
    items_.insert(place, std::move(item));
    noteModelChange();
}

void Menu::addItem(std::shared_ptr<MenuItem> item) { insertItem(std::move(item), items_.size()); }

void Menu::removeItem(const std::shared_ptr<MenuItem>& item) {
    if (std::erase(items_, item) > 0) noteModelChange();
}

void Menu::removeAllItems() {
    if (items_.empty()) return;
    items_.clear();
    noteModelChange();
}

void Menu::update() {
    isCancelled_ = false;
    try {
        if (const auto menuNeedsUpdate = menuNeedsUpdate_) menuNeedsUpdate(*this);
    } catch (const std::exception&) {
        logCaughtException("A menu is shown as it was");
    }
    for (const auto& item : items_)
        if (item->submenu()) item->submenu()->update();
}

}  // namespace qs
