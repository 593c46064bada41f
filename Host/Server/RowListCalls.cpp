// Calls about items of the status bar, and about the lists in popovers.
#include <boost/json.hpp>

#include "Calls.h"
#include "MailApplication.h"
#include "Models/Menu.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "Models/StatusItem.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kListHasChanged = "That list has changed.";

// Kept while the call runs: what it does may replace the list.
std::shared_ptr<const RowList> listOf(const json::object& args) {
    const std::string identifier = arguments::text(args, "identifier");
    for (const Popover* popover : Popover::allShown())
        if (popover->identifier() == identifier && popover->content.list) return popover->content.list;
    throw CallRefused("That list is closed.");
}

const RowButton& buttonOf(const RowList& list, const json::object& args) {
    const RowButton* button = list.button(arguments::text(args, "row"), arguments::text(args, "button"));
    if (!button) throw CallRefused(kListHasChanged);
    return *button;
}

json::value pressButton(CallContext&, const json::object& args) {
    const auto list = listOf(args);
    if (const auto action = buttonOf(*list, args).action) action();
    noteModelChange();
    return nullptr;
}

json::value openRow(CallContext&, const json::object& args) {
    const auto list = listOf(args);
    const ListRow* row = list->row(arguments::text(args, "row"));
    if (!row) throw CallRefused(kListHasChanged);
    if (const auto open = row->onOpen) open();
    noteModelChange();
    return nullptr;
}

json::value chooseStatusItem(CallContext& context, const json::object& args) {
    const auto item = StatusBar::systemStatusBar().itemWithIdentifier(arguments::text(args, "id"));
    if (!item || !context.application.sendAction(item->action(), item->target().get(), item.get()))
        throw CallRefused("That can't be used right now.");
    return nullptr;
}

}  // namespace

std::shared_ptr<Menu> menuInRowList(const json::object& args) {
    const auto list = listOf(args);
    if (auto menu = buttonOf(*list, args).menu) return menu;
    throw CallRefused(kListHasChanged);
}

void addRowListCalls(CallTable& table) {
    table["popover.press"] = pressButton;
    table["popover.open"] = openRow;
    table["status.choose"] = chooseStatusItem;
}

}  // namespace qs
