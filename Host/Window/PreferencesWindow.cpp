#include "PreferencesWindow.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/NotificationCenter.h"
#include "MailApplicationObject.h"
#include "Models/ModelChanges.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PreferencesWindowObject.h"
#include "Settings/UserDefaults.h"

namespace qs {
namespace {

PreferencesWindowObject& preferencesOf(HostObject& self) { return dynamic_cast<PreferencesWindowObject&>(self); }

std::vector<std::string> moduleNames(HostObject& self) {
    std::vector<std::string> names;
    for (const auto& module : preferencesOf(self).modules())
        names.push_back(module.name);
    return names;
}

}  // namespace

void PreferencesWindowObject::defineClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    Class& cls = registry.define("NSPreferences");
    cls.addClassMethod(preferences::sharedPreferences, [](Class&) -> std::shared_ptr<Preferences> {
        const auto application = std::dynamic_pointer_cast<MailApplicationObject>(MailApp::shared());
        return application ? application->preferencesObject() : nullptr;
    });
    cls.add(toolbar_delegate::defaultItemIdentifiers, [](HostObject& self, Toolbar&) { return moduleNames(self); });
    cls.add(toolbar_delegate::allowedItemIdentifiers, [](HostObject& self, Toolbar&) { return moduleNames(self); });
    cls.add(toolbar_delegate::itemForItemIdentifier, [](HostObject& self, Toolbar&, const std::string& name, bool) {
        return preferencesOf(self).toolbarItem(name);
    });
    // What a toolbar item does: shows its module.
    cls.add(Action("selectModule:"), [](HostObject& self, HostObject* sender) {
        if (const auto* item = dynamic_cast<ToolbarItem*>(sender)) preferencesOf(self).show(item->itemIdentifier());
    });
    registry.define("NSPreferencesModule");
    registry.define("ViewerPreferences")
        .addClassMethod(viewer_preferences::postContactPhotoPreferenceChanged, [](Class&) { noteModelChange(); });
}

PreferencesWindowObject::PreferencesWindowObject()
    : PreferencesWindow("NSPreferences"), window_(std::make_shared<Window>("preferences")) {
    window_->setTitle("Preferences");
}

void PreferencesWindowObject::begin(MailEngine& engine) {
    modules_ = {{"General", makeGeneralPreferences(engine)}, {"Accounts", makeAccountPreferences(engine, window_)}};
    selected_ = modules_.front().name;
    auto toolbar = std::make_shared<Toolbar>("Preferences");
    window_->setToolbar(toolbar);
    toolbar->setDelegate(weak_from_this(), window_);
    // Settings change in other places as well: in the file, by a plug-in.
    observation_ = NotificationCenter::defaultCenter().addObserver(
        std::string(UserDefaultsDidChangeNotification), [window = std::weak_ptr(window_)](const Notification&) {
            const auto shown = window.lock();
            if (shown && shown->isVisible()) noteModelChange();
        });
}

std::vector<std::shared_ptr<PreferencesModule>> PreferencesWindowObject::preferenceModules() const {
    std::vector<std::shared_ptr<PreferencesModule>> modules;
    for (const Named& named : modules_)
        modules.push_back(named.module);
    return modules;
}

// Its toolbar item is left to whoever adds the module; if it is still missing when the window is shown, it is put in.
void PreferencesWindowObject::addPreferenceNamed(std::string name, std::shared_ptr<PreferencesModule> owner) {
    assertThat(owner != nullptr && !name.empty(), "Preferences need a name and a module");
    if (moduleNamed(name)) return;
    modules_.push_back({std::move(name), std::move(owner)});
    noteModelChange();
}

std::shared_ptr<PreferencesModule> PreferencesWindowObject::moduleNamed(std::string_view name) const {
    const auto found = std::ranges::find(modules_, name, &Named::name);
    return found == modules_.end() ? nullptr : found->module;
}

std::shared_ptr<ToolbarItem> PreferencesWindowObject::toolbarItem(const std::string& name) const {
    const auto module = moduleNamed(name);
    if (!module) return nullptr;
    auto item = std::make_shared<ToolbarItem>(name);
    item->label = item->paletteLabel = name;
    item->imageName = module->imageName();
    item->action = "selectModule:";
    item->target = std::const_pointer_cast<HostObject>(shared_from_this());
    return item;
}

void PreferencesWindowObject::showPreferencesPanelForOwner(const std::shared_ptr<PreferencesModule>& owner) {
    const auto found = std::ranges::find(modules_, owner, &Named::module);
    show(found == modules_.end() ? std::string() : found->name);
}

std::vector<PreferencesWindow::Module> PreferencesWindowObject::modules() {
    std::vector<Module> modules;
    for (const Named& named : modules_)
        modules.push_back({named.name, named.module->imageName()});
    return modules;
}

void PreferencesWindowObject::show(std::string_view moduleName) {
    const std::string wanted(moduleName);  // may be a piece of an item that goes now
    const bool wasVisible = window_->isVisible();
    if (!wasVisible) {
        // As everybody asks for the preferences, so that plug-ins can add their modules.
        try {
            preferences::sharedPreferences.onClass(NSClassFromString("NSPreferences"));
        } catch (const std::exception&) {
            logCaughtException("A plug-in's preferences could not be added");
        }
        for (const Named& named : modules_)
            window_->toolbar()->insertItemWithItemIdentifier(named.name, modules_.size());
    }
    if (moduleNamed(wanted)) selected_ = wanted;
    window_->setVisible(true);
    noteModelChange();
    if (!wasVisible) tellThatItIsKey();
    if (const auto module = moduleNamed(selected_)) module->willBeDisplayed();
}

void PreferencesWindowObject::tellThatItIsKey() {
    if (window_->isVisible()) NotificationCenter::defaultCenter().post(NSWindowDidBecomeKeyNotification, window_.get());
}

void PreferencesWindowObject::close() { window_->setVisible(false); }

std::shared_ptr<FormModel> PreferencesWindowObject::form() {
    const auto module = moduleNamed(selected_);
    if (!module) return nullptr;
    try {
        return module->form();
    } catch (const std::exception&) {
        logCaughtException("The preferences “" + selected_ + "” can't be shown");
        return nullptr;
    }
}

void PreferencesWindowObject::setValue(std::string_view control, const Value& value) {
    const auto shown = form();
    FormControl* changed = shown ? shown->control(control) : nullptr;
    if (!changed || !changed->enabled) return;
    changed->value = value;
    // The form is kept meanwhile: the handler may run a dialogue.
    if (const auto handler = changed->onChange) handler(value);
    noteModelChange();
}

}  // namespace qs
