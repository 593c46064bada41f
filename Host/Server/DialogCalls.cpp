// Calls about alerts, sheets, popovers and preferences.
#include <boost/json.hpp>
#include <functional>

#include "Calls.h"
#include "ComposeWindow.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "ModelJson.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/View.h"
#include "PreferencesWindow.h"

namespace qs {

namespace json = boost::json;

namespace {

std::shared_ptr<Window> windowNamed(CallContext& context, const std::string& name) {
    if (auto compose = context.application.composeWindow(name)) return compose->window();
    for (auto window : {context.application.viewer().window(), context.application.preferences().preferenceWindow()})
        if (window && window->identifier() == name) return window;
    return nullptr;
}

Popover* shownPopover(std::string_view identifier) {
    for (Popover* popover : Popover::allShown())
        if (popover->identifier() == identifier) return popover;
    return nullptr;
}

// A form that is open somewhere, and what a button without an action of its own does there.
struct OpenForm {
    std::shared_ptr<FormModel> form;
    std::function<void(int code)> end;
};

constexpr std::string_view kPopoverPrefix = "popover:";

// "popover:<identifier>", "preferences" for the selected pane, or a window for its sheet; a sheet of the preferences
// goes before their pane.
OpenForm openForm(CallContext& context, const json::object& args) {
    const std::string name = arguments::text(args, "window"), identifier = arguments::text(args, "form");
    const auto isMeant = [&](const auto& form) { return form && form->identifier == identifier; };
    if (name.starts_with(kPopoverPrefix)) {
        Popover* popover = shownPopover(std::string_view(name).substr(kPopoverPrefix.size()));
        if (popover && isMeant(popover->content.form))
            return {popover->content.form, [id = popover->identifier()](int) {
                        if (Popover* shown = shownPopover(id)) shown->close();
                    }};
    }
    if (const auto window = windowNamed(context, name); window && isMeant(window->currentSheet()))
        return {window->currentSheet(),
                [window, form = window->currentSheet()](int code) { window->endSheet(*form, code); }};
    auto& preferences = context.application.preferences();
    const auto preferenceWindow = preferences.preferenceWindow();
    if (preferenceWindow && preferenceWindow->isVisible() && preferenceWindow->identifier() == name)
        if (const auto form = preferences.form(); isMeant(form)) return {form, [](int) {}};
    throw CallRefused("That dialog is closed.");
}

json::value setControl(CallContext& context, const json::object& args) {
    const OpenForm open = openForm(context, args);
    FormControl* control = open.form->control(arguments::text(args, "control"));
    if (!control || !control->enabled) throw CallRefused("That can't be changed right now.");
    control->value = arguments::valueFor(*control, args);
    if (auto onChange = control->onChange) onChange(Value(control->value));
    noteModelChange();
    return nullptr;
}

json::value pressButton(CallContext& context, const json::object& args) {
    const OpenForm open = openForm(context, args);
    const auto index = static_cast<std::size_t>(arguments::number(args, "button"));
    // Buttons come and go, so a number alone could mean another one than the person saw.
    if (index >= open.form->buttons.size() || open.form->buttons[index].title != arguments::text(args, "title"))
        throw CallRefused("That dialog has changed.");
    const FormButton button = open.form->buttons[index];
    if (!button.enabled) throw CallRefused("That can't be done right now.");
    if (button.action)
        button.action();
    else
        open.end(button.code);
    noteModelChange();
    return nullptr;
}

Popover& popoverOf(const json::object& args) {
    if (Popover* popover = shownPopover(arguments::text(args, "identifier"))) return *popover;
    throw CallRefused("That hint is closed.");
}

}  // namespace

void addDialogCalls(CallTable& table) {
    table["sheet.set"] = setControl;
    table["sheet.button"] = pressButton;
    table["alert.answer"] = [](CallContext&, const json::object& args) -> json::value {
        if (!AlertCentre::shared().answer(static_cast<int>(arguments::number(args, "id")),
                                          static_cast<int>(arguments::number(args, "button")),
                                          arguments::flag(args, "suppression")))
            throw CallRefused("That question is answered already.");
        return nullptr;
    };
    table["popover.button"] = [](CallContext&, const json::object& args) -> json::value {
        auto& popover = popoverOf(args);
        if (auto onButton = popover.onButton) onButton(static_cast<int>(arguments::number(args, "button")));
        return nullptr;
    };
    table["popover.close"] = [](CallContext&, const json::object& args) -> json::value {
        popoverOf(args).close();
        return nullptr;
    };
    table["preferences.show"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.preferences().show(arguments::has(args, "module") ? arguments::text(args, "module") : "");
        return nullptr;
    };
    table["preferences.set"] = [](CallContext& context, const json::object& args) -> json::value {
        auto& preferences = context.application.preferences();
        const std::string id = arguments::text(args, "control");
        const auto form = preferences.form();
        if (const FormControl* control = form ? form->control(id) : nullptr)
            preferences.setValue(id, arguments::valueFor(*control, args));
        return nullptr;
    };
    table["preferences.close"] = [](CallContext& context, const json::object&) -> json::value {
        context.application.preferences().close();
        return nullptr;
    };
}

}  // namespace qs
