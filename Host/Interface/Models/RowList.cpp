#include "Models/RowList.h"

#include <algorithm>

namespace qs {

namespace {

const RowButton* buttonIn(const std::vector<RowButton>& buttons, std::string_view id) {
    const auto found = std::ranges::find(buttons, id, &RowButton::id);
    return found == buttons.end() ? nullptr : &*found;
}

}  // namespace

const ListRow* RowList::row(std::string_view id) const {
    const auto found = std::ranges::find(rows, id, &ListRow::id);
    return found == rows.end() ? nullptr : &*found;
}

const RowButton* RowList::button(std::string_view rowID, std::string_view id) const {
    if (rowID.empty()) return buttonIn(bar, id);
    const ListRow* found = row(rowID);
    if (!found) return nullptr;
    for (const auto* buttons : {&found->marks, &found->leading, &found->trailing})
        if (const RowButton* button = buttonIn(*buttons, id)) return button;
    for (const auto& group : found->controls)
        if (const RowButton* button = buttonIn(group, id)) return button;
    return nullptr;
}

}  // namespace qs
