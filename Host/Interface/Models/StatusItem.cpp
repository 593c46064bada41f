#include "Models/StatusItem.h"

#include <algorithm>
#include <utility>

#include "Application/HostInstances.h"
#include "Foundation/NotificationCenter.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/View.h"

namespace qs {

namespace {

void noteChange() {
    noteModelChange();
    NotificationCenter::defaultCenter().post(StatusBarDidChangeNotification);
}

}  // namespace

StatusItem::StatusItem(int number, const std::shared_ptr<Window>& bar)
    : HostObject("NSStatusItem"),
      identifier_("status:" + std::to_string(number)),
      view_(std::make_shared<View>(identifier_, bar)) {}

void StatusItem::setTitle(std::string title) {
    title_ = std::move(title);
    noteChange();
}

void StatusItem::setImageName(std::string name) {
    imageName_ = std::move(name);
    noteChange();
}

StatusBar& StatusBar::systemStatusBar() {
    auto& bar = HostInstances::current().statusBar;
    if (!bar) bar = std::make_shared<StatusBar>();
    return *bar;
}

StatusBar::StatusBar() : window_(std::make_shared<Window>("status")) { window_->setVisible(true); }
StatusBar::~StatusBar() = default;

std::shared_ptr<StatusItem> StatusBar::squareStatusItem() {
    items_.push_back(std::make_shared<StatusItem>(++lastNumber_, window_));
    noteChange();
    return items_.back();
}

void StatusBar::removeStatusItem(const StatusItem& item) {
    const auto found = std::ranges::find(items_, &item, &std::shared_ptr<StatusItem>::get);
    if (found == items_.end()) return;
    const auto removed = *found;
    items_.erase(found);
    // What points at it has nothing to point at any more.
    for (Popover* popover : std::vector(Popover::allShown()))
        if (popover->positioningView() == removed->view()) popover->close();
    noteChange();
}

std::shared_ptr<StatusItem> StatusBar::itemWithIdentifier(std::string_view identifier) const {
    const auto found = std::ranges::find(items_, identifier, &StatusItem::identifier);
    return found == items_.end() ? nullptr : *found;
}

}  // namespace qs
