// Calls about menus and toolbars. A menu goes by where it hangs: "main", "context", "toolbar" with the toolbar's window
// and the item's identifier, or "popover" with a row and a button of its list. Before one is shown it is brought up to
// date, and goes to the page afresh.
#include <boost/json.hpp>

#include "Calls.h"
#include "ComposeWindow.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "ModelJson.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/ModelChanges.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PersonMenu.h"
#include "PreferencesWindow.h"

namespace qs {

namespace json = boost::json;

namespace {

std::shared_ptr<Toolbar> toolbarOf(CallContext& context, const std::string& window) {
    if (window == "viewer") return context.application.viewer().toolbar();
    if (auto compose = context.application.composeWindow(window)) return compose->window()->toolbar();
    auto preferences = context.application.preferences().preferenceWindow();
    return preferences && preferences->identifier() == window ? preferences->toolbar() : nullptr;
}

std::shared_ptr<ToolbarItem> toolbarItemOf(CallContext& context, const json::object& args) {
    const std::string window = arguments::text(args, "window"), identifier = arguments::text(args, "identifier");
    auto toolbar = toolbarOf(context, window);
    if (!toolbar) throw CallRefused("That window is closed.");
    // Actions travel along the chain of responders, which begins at the window in front.
    context.application.bringToFront(window);
    toolbar->validateVisibleItems();
    for (const auto& item : toolbar->visibleItems())
        if (item->itemIdentifier() == identifier) return item;
    throw CallRefused("That toolbar has changed.");
}

std::shared_ptr<Menu> menuOf(CallContext& context, const json::object& args) {
    const std::string name = arguments::has(args, "menu") ? arguments::text(args, "menu") : "main";
    if (name == "context") return context.page.contextMenu;
    if (name == "popover") return menuInRowList(args);
    return name == "toolbar" ? toolbarItemOf(context, args)->menu : context.application.mainMenu();
}

std::shared_ptr<MenuItem> itemOf(const std::shared_ptr<Menu>& menu, const json::object& args) {
    auto item = menu ? menuItemAt(*menu, arguments::text(args, "item")) : nullptr;
    if (!item) throw CallRefused("That menu has changed. Please open it again.");
    return item;
}

json::value shown(CallContext& context, const std::shared_ptr<Menu>& menu) {
    if (!menu) throw CallRefused("That menu has changed. Please open it again.");
    menu->update();
    return json::object{{"items", menuJson(context.application, *menu)}};
}

// After something in an open menu was used. Its handler ran when it opened and is for that alone.
json::value stillShown(CallContext& context, const Menu& menu) {
    if (menu.isTrackingCancelled()) return json::object{{"close", true}};
    return json::object{{"items", menuJson(context.application, menu)}};
}

json::value chooseMenuItem(CallContext& context, const json::object& args) {
    const auto item = itemOf(menuOf(context, args), args);
    if (!context.application.choose(*item)) throw CallRefused("\"" + item->title() + "\" can't be used right now.");
    return nullptr;
}

// A control of what an item shows in place of its title.
json::value setControlOfItem(CallContext& context, const json::object& args) {
    const auto menu = menuOf(context, args);
    const auto form = itemOf(menu, args)->form();
    FormControl* control = form ? form->control(arguments::text(args, "control")) : nullptr;
    if (!control || !control->enabled) throw CallRefused("That can't be changed right now.");
    control->value = arguments::valueFor(*control, args);
    if (const auto onChange = control->onChange) onChange(Value(control->value));
    noteModelChange();
    return stillShown(context, *menu);
}

json::value pressButtonOfItem(CallContext& context, const json::object& args) {
    const auto menu = menuOf(context, args);
    const auto form = itemOf(menu, args)->form();
    const auto index = static_cast<std::size_t>(arguments::number(args, "press"));
    if (!form || index >= form->buttons.size() || !form->buttons[index].enabled)
        throw CallRefused("That can't be used right now.");
    if (const auto action = form->buttons[index].action) action();
    noteModelChange();
    return stillShown(context, *menu);
}

json::value openContextMenu(CallContext& context, const json::object& args) {
    context.application.viewer().selectIDs(arguments::ids(args));
    context.page.contextMenu = context.application.contextualMenu();
    return shown(context, context.page.contextMenu);
}

json::value openPersonMenu(CallContext& context, const json::object& args) {
    context.page.contextMenu = makePersonMenu(context.application, arguments::text(args, "person"));
    return shown(context, context.page.contextMenu);
}

json::value openMailboxMenu(CallContext& context, const json::object& args) {
    context.page.contextMenu = context.application.contextualMenuOfMailbox(arguments::text(args, "id"));
    if (!context.page.contextMenu) throw CallRefused("That mailbox is no longer there.");
    return shown(context, context.page.contextMenu);
}

json::value chooseToolbarItem(CallContext& context, const json::object& args) {
    const auto item = toolbarItemOf(context, args);
    bool chosen = false;
    if (arguments::has(args, "item"))
        chosen = context.application.choose(*itemOf(item->menu, args));
    else if (item->enabled)
        chosen = context.application.sendAction(item->action, item->target.lock().get(), item.get());
    if (!chosen) throw CallRefused("\"" + item->label + "\" can't be used right now.");
    return nullptr;
}

}  // namespace

void addMenuCalls(CallTable& table) {
    table["menu.choose"] = chooseMenuItem;
    table["menu.set"] = setControlOfItem;
    table["menu.press"] = pressButtonOfItem;
    // Every redraw asks for fresh states; all that is needed is one.
    table["menu.validate"] = [](CallContext& context, const json::object&) -> json::value {
        if (const auto menu = context.application.mainMenu()) menu->update();
        return nullptr;
    };
    table["context.open"] = openContextMenu;
    table["person.open"] = openPersonMenu;
    table["mailbox.menu"] = openMailboxMenu;
    table["toolbar.choose"] = chooseToolbarItem;
    table["popover.menu"] = [](CallContext& context, const json::object& args) {
        return shown(context, menuInRowList(args));
    };
    table["toolbar.menu"] = [](CallContext& context, const json::object& args) {
        return shown(context, toolbarItemOf(context, args)->menu);
    };
}

}  // namespace qs
