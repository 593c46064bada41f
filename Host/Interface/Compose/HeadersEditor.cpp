#include "Compose/HeadersEditor.h"

#include <algorithm>

#include "Models/ModelChanges.h"

namespace qs {

std::vector<std::shared_ptr<HostObject>> StackView::views() const {
    std::vector<std::shared_ptr<HostObject>> views;
    for (const Entry& entry : entries_)
        views.push_back(entry.view);
    return views;
}

void StackView::addView(std::shared_ptr<HostObject> view, int inGravity) {
    if (!view) return;
    // Views stand by gravity, those of one gravity in the order they came; a view stands once.
    std::erase_if(entries_, [&](const Entry& entry) { return entry.view == view; });
    const auto place = std::ranges::upper_bound(entries_, inGravity, {}, &Entry::gravity);
    entries_.insert(place, {std::move(view), inGravity});
    noteModelChange();
}

void StackView::removeView(const std::shared_ptr<HostObject>& view) {
    if (std::erase_if(entries_, [&](const Entry& entry) { return entry.view == view; }) > 0) noteModelChange();
}

}  // namespace qs
