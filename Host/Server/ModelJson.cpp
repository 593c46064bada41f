#include "ModelJson.h"

#include <boost/json.hpp>

#include "MailApplication.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kKindNames[] = {"text",      "textField", "secret",   "number",    "checkBox", "popUp",
                                      "segmented", "radio",     "dateTime", "timeOfDay", "shortcut", "textList",
                                      "tokens",    "richText",  "list",     "table",     "button",   "separator"};

json::array factsJson(const std::vector<FormFact>& facts) {
    json::array array;
    for (const auto& fact : facts)
        array.push_back(json::object{{"image", fact.imageName}, {"text", fact.text}});
    return array;
}

json::array modifierNames(unsigned mask) {
    json::array names;
    if (mask & kShiftKey) names.emplace_back("shift");
    if (mask & kControlKey) names.emplace_back("control");
    if (mask & kOptionKey) names.emplace_back("option");
    if (mask & kCommandKey) names.emplace_back("command");
    return names;
}

json::object menuItemJson(MailApplication& application, MenuItem& item, const std::string& path) {
    json::object result{{"id", path}, {"title", item.title()}};
    if (item.isSeparatorItem()) {
        result["separator"] = true;
        return result;
    }
    if (item.isHeading()) {
        result["heading"] = true;
        return result;
    }
    if (const auto form = item.form()) {
        result["form"] = formJson(*form);
        return result;
    }
    if (!item.faintEnd().empty()) result["faintEnd"] = item.faintEnd();
    result["enabled"] = item.submenu() ? true : application.isEnabled(item);
    if (item.state()) result["state"] = item.state();
    if (!item.keyEquivalent().empty()) {
        result["key"] = item.keyEquivalent();
        result["modifiers"] = modifierNames(item.keyEquivalentModifierMask());
    }
    if (!item.toolTip().empty()) result["toolTip"] = item.toolTip();
    if (!item.imageName().empty()) result["image"] = item.imageName();
    if (item.indentationLevel()) result["indentation"] = item.indentationLevel();
    if (!item.imageColor().empty()) result["imageColour"] = item.imageColor();
    if (item.submenu()) result["submenu"] = menuJson(application, *item.submenu(), path + ".");
    return result;
}

}  // namespace

json::value toJson(const Value& value) {
    switch (value.type()) {
    case Value::Type::Boolean: return value.boolValue();
    case Value::Type::Integer: return value.integerValue();
    case Value::Type::Real: return value.doubleValue();
    case Value::Type::String: return json::value(value.stringValue());
    case Value::Type::Date: return json::object{{"$date", value.dateValue()->secondsSince1970}};
    case Value::Type::Array: {
        json::array array;
        for (const auto& each : value.array())
            array.push_back(toJson(each));
        return array;
    }
    case Value::Type::Dictionary: {
        json::object object;
        for (const auto& [key, each] : value.dictionary())
            object[key] = toJson(each);
        return object;
    }
    case Value::Type::Nil:
    case Value::Type::Data: break;
    }
    return nullptr;
}

Value fromJson(const json::value& json) {
    if (json.is_bool()) return json.get_bool();
    if (json.is_int64()) return json.get_int64();
    if (json.is_uint64()) return static_cast<double>(json.get_uint64());
    if (json.is_double()) return json.get_double();
    if (json.is_string()) return std::string_view(json.get_string().data(), json.get_string().size());
    if (json.is_array()) {
        Array array;
        for (const auto& each : json.get_array())
            array.push_back(fromJson(each));
        return array;
    }
    if (json.is_object()) {
        const auto& object = json.get_object();
        if (const auto* seconds = object.if_contains("$date"); seconds && seconds->is_number())
            return Date{seconds->to_number<double>()};
        Dictionary dictionary;
        for (const auto& field : object)
            dictionary[std::string(field.key())] = fromJson(field.value());
        return dictionary;
    }
    return {};
}

json::value menuJson(MailApplication& application, const Menu& menu, const std::string& prefix) {
    json::array items;
    std::size_t index = 0;
    for (const auto& item : menu.itemArray()) {
        const std::string path = prefix + std::to_string(index++);
        if (!item->isHidden()) items.push_back(menuItemJson(application, *item, path));
    }
    return items;
}

json::value toolbarJson(Toolbar& toolbar) {
    toolbar.validateVisibleItems();
    json::array items;
    for (const auto& item : toolbar.visibleItems()) {
        const std::string& identifier = item->itemIdentifier();
        json::object model{{"identifier", identifier},
                           {"label", item->label},
                           {"toolTip", item->toolTip},
                           {"image", item->imageName},
                           {"enabled", item->enabled},
                           {"kind", identifier == kToolbarSpace           ? "space"
                                    : identifier == kToolbarFlexibleSpace ? "flexibleSpace"
                                                                          : "item"}};
        if (item->menu) model["hasMenu"] = true;
        items.push_back(std::move(model));
    }
    return items;
}

json::value controlJson(const FormControl& control) {
    const bool secret = control.kind == FormControl::Kind::Secret;
    json::object result{{"id", control.id},
                        {"kind", kKindNames[static_cast<int>(control.kind)]},
                        {"label", control.label},
                        {"value", secret ? json::value(nullptr) : toJson(control.value)},
                        {"enabled", control.enabled}};
    if (!control.toolTip.empty()) result["toolTip"] = control.toolTip;
    if (!control.placeholder.empty()) result["placeholder"] = control.placeholder;
    if (!control.error.empty()) result["error"] = control.error;
    if (control.hidden) result["hidden"] = true;
    if (!control.unit.empty()) result["unit"] = control.unit;
    if (control.kind == FormControl::Kind::Number) {
        result["minimum"] = control.minimum;
        if (control.maximum != 0) result["maximum"] = control.maximum;
        result["step"] = control.step;
    }
    if (!control.rowButton.empty())
        result["rowButton"] = json::object{{"title", control.rowButton}, {"image", control.rowButtonImage}};
    if (control.earliest) result["earliest"] = toJson(*control.earliest);
    if (!control.options.empty()) {
        json::array options;
        for (const auto& option : control.options) {
            json::object each{{"title", option.title}, {"value", toJson(option.value)}};
            if (!option.imageName.empty()) each["image"] = option.imageName;
            if (option.separator) each["separator"] = true;
            if (!option.controls.empty())
                each["controls"] = json::array(option.controls.begin(), option.controls.end());
            if (!option.detail.empty()) each["detail"] = option.detail;
            if (!option.state.empty()) each["state"] = option.state;
            if (!option.stateColor.empty()) each["stateColor"] = option.stateColor;
            if (!option.facts.empty()) each["facts"] = factsJson(option.facts);
            options.push_back(std::move(each));
        }
        result["options"] = std::move(options);
    }
    if (!control.controls.empty()) result["controls"] = json::array(control.controls.begin(), control.controls.end());
    return result;
}

json::value formJson(const FormModel& form) {
    json::array groups, buttons;
    for (const auto& group : form.groups) {
        json::array controls;
        for (const auto& control : group.controls)
            controls.push_back(controlJson(control));
        json::object each{{"title", group.title}, {"controls", std::move(controls)}};
        if (!group.note.empty()) each["note"] = group.note;
        groups.push_back(std::move(each));
    }
    for (const auto& button : form.buttons) {
        json::object each{{"title", button.title}};
        if (button.isDefault) each["isDefault"] = true;
        if (button.isCancel) each["isCancel"] = true;
        if (!button.enabled) each["enabled"] = false;
        buttons.push_back(std::move(each));
    }
    json::object result{{"identifier", form.identifier},
                        {"title", form.title},
                        {"groups", std::move(groups)},
                        {"buttons", std::move(buttons)}};
    if (!form.message.empty()) result["message"] = form.message;
    if (!form.firstResponder.empty()) result["firstResponder"] = form.firstResponder;
    if (form.refusals) result["refusals"] = form.refusals;
    if (!form.shownGroup.empty()) result["shownGroup"] = form.shownGroup;
    return result;
}

std::shared_ptr<MenuItem> menuItemAt(const Menu& menu, std::string_view path) {
    const auto dot = path.find('.');
    std::size_t index = 0;
    const auto number = path.substr(0, dot);
    if (number.empty() || number.size() > 6) return nullptr;
    for (const char digit : number) {
        if (digit < '0' || digit > '9') return nullptr;
        index = index * 10 + static_cast<std::size_t>(digit - '0');
    }
    auto item = menu.itemAtIndex(index);
    if (!item || dot == std::string_view::npos) return item;
    return item->submenu() ? menuItemAt(*item->submenu(), path.substr(dot + 1)) : nullptr;
}

}  // namespace qs
