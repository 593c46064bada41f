#include "Core/QSInterfaceFile.h"

#include <algorithm>
#include <array>

#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "Models/Form.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

constexpr std::array<std::pair<std::string_view, Kind>, 10> kKinds{{{"text", Kind::Text},
                                                                    {"textField", Kind::TextField},
                                                                    {"secret", Kind::Secret},
                                                                    {"button", Kind::Button},
                                                                    {"radio", Kind::Radio},
                                                                    {"popUp", Kind::PopUp},
                                                                    {"number", Kind::Number},
                                                                    {"dateTime", Kind::DateTime},
                                                                    {"timeOfDay", Kind::TimeOfDay},
                                                                    {"checkBox", Kind::CheckBox}}};

std::string localized(const Value& text) {
    const std::string key = text.stringValue();
    return key.empty() ? key : QSLocalizedString(key);
}

FormOption optionFrom(const Value& entry) {
    FormOption option{.title = localized(entry["title"]), .value = entry["value"], .imageName = {}};
    for (const Value& control : entry["controls"].array())
        option.controls.push_back(control.stringValue());
    return option;
}

Result<FormControl> controlFrom(const Value& entry) {
    const std::string name = entry["kind"].stringValue();
    const auto kind =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const auto& known) { return known.first == name; });
    if (kind == kKinds.end()) return failure("Interface", 1, "there is no kind of control named " + name);
    FormControl control;
    control.kind = kind->second;
    control.id = entry["id"].stringValue();
    control.label = localized(entry["label"]);
    control.toolTip = localized(entry["toolTip"]);
    control.placeholder = localized(entry["placeholder"]);
    control.minimum = entry["minimum"].doubleValue();
    control.maximum = entry["maximum"].doubleValue();
    for (const Value& option : entry["options"].array())
        control.options.push_back(optionFrom(option));
    return control;
}

Result<QSInterfacePanel> panelFrom(const Value& entry) {
    QSInterfacePanel panel{std::make_shared<FormModel>(), {}, {}};
    panel.form->identifier = entry["identifier"].stringValue();
    panel.form->title = localized(entry["title"]);
    panel.form->message = localized(entry["message"]);
    FormGroup group;
    for (const Value& each : entry["controls"].array()) {
        auto control = controlFrom(each);
        if (!control) return failed(control);
        if (const std::string binding = each["binding"].stringValue(); !binding.empty())
            panel.bindings[control->id] = binding;
        group.controls.push_back(std::move(*control));
    }
    if (!group.controls.empty()) panel.form->groups.push_back(std::move(group));
    for (const Value& each : entry["buttons"].array()) {
        panel.form->buttons.push_back({.title = localized(each["title"]),
                                       .isDefault = each["isDefault"].boolValue(),
                                       .isCancel = each["isCancel"].boolValue(),
                                       .action = {}});
        panel.actions.push_back(each["action"].stringValue());
    }
    return panel;
}

}  // namespace

Result<QSInterface> loadInterfaceFile(std::string_view name) {
    const auto path = QSSession::current().bundle().pathForResource(name, "plist");
    if (path.empty()) return failure("Interface", 1, "there is no interface named " + std::string(name));
    const auto text = FileSystem::real().read(path);
    const auto parsed = text ? parsePropertyList(*text) : failed(text);
    if (!parsed) return failed(parsed);
    QSInterface interface;
    for (const auto& [panelName, entry] : parsed->dictionary()) {
        auto panel = panelFrom(entry);
        if (!panel) return failed(panel);
        interface[panelName] = std::move(*panel);
    }
    return interface;
}

}  // namespace qs
