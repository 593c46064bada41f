// Calls about alerts, sheets, popovers and preferences.
#include <boost/json.hpp>

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

struct SheetOf {
    std::shared_ptr<Window> window;
    std::shared_ptr<FormModel> form;
};

SheetOf sheetOf(CallContext& context, const json::object& args) {
    auto window = windowNamed(context, arguments::text(args, "window"));
    auto form = window ? window->currentSheet() : nullptr;
    if (!form || form->identifier != arguments::text(args, "form")) throw CallRefused("That dialog is closed.");
    return {window, form};
}

json::value setSheetControl(CallContext& context, const json::object& args) {
    auto sheet = sheetOf(context, args);
    FormControl* control = sheet.form->control(arguments::text(args, "control"));
    if (!control || !control->enabled) throw CallRefused("That can't be changed right now.");
    const json::value* value = args.if_contains("value");
    control->value = value ? fromJson(*value) : Value();
    if (auto onChange = control->onChange) onChange(Value(control->value));
    noteModelChange();
    return nullptr;
}

json::value pressSheetButton(CallContext& context, const json::object& args) {
    auto sheet = sheetOf(context, args);
    const auto index = static_cast<std::size_t>(arguments::number(args, "button"));
    if (index >= sheet.form->buttons.size()) throw CallRefused("That dialog has changed.");
    const FormButton button = sheet.form->buttons[index];
    if (button.action)
        button.action();
    else
        sheet.window->endSheet(*sheet.form, button.code);
    noteModelChange();
    return nullptr;
}

Popover& popoverOf(const json::object& args) {
    const std::string identifier = arguments::text(args, "identifier");
    for (Popover* popover : Popover::allShown())
        if (popover->identifier() == identifier) return *popover;
    throw CallRefused("That hint is closed.");
}

}  // namespace

void addDialogCalls(CallTable& table) {
    table["sheet.set"] = setSheetControl;
    table["sheet.button"] = pressSheetButton;
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
        const json::value* value = args.if_contains("value");
        context.application.preferences().setValue(arguments::text(args, "control"),
                                                   value ? fromJson(*value) : Value());
        return nullptr;
    };
    table["preferences.close"] = [](CallContext& context, const json::object&) -> json::value {
        context.application.preferences().close();
        return nullptr;
    };
}

}  // namespace qs
