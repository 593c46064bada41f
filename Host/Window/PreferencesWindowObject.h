// The preferences as they are implemented; private to this folder.
#pragma once

#include "Foundation/NotificationCenter.h"
#include "PreferencesWindow.h"

namespace qs {

class MailEngine;
class ToolbarItem;

class PreferencesWindowObject : public PreferencesWindow {
public:
    // "NSPreferences", "ViewerPreferences" and the class of the host's own modules.
    static void defineClasses();

    PreferencesWindowObject();
    void begin(MailEngine& engine);
    // Nothing while it is closed.
    void tellThatItIsKey();
    std::shared_ptr<ToolbarItem> toolbarItem(const std::string& name) const;  // null for no such module

    std::vector<std::shared_ptr<PreferencesModule>> preferenceModules() const override;
    void addPreferenceNamed(std::string name, std::shared_ptr<PreferencesModule> owner) override;
    std::shared_ptr<Window> preferencesPanel() const override { return window_; }
    std::shared_ptr<Window> preferenceWindow() const override { return window_; }
    void showPreferencesPanelForOwner(const std::shared_ptr<PreferencesModule>& owner) override;

    std::vector<Module> modules() override;
    void show(std::string_view moduleName) override;
    void close() override;
    std::string selectedModule() const override { return selected_; }
    std::shared_ptr<FormModel> form() override;
    void setValue(std::string_view control, const Value& value) override;

private:
    struct Named {
        std::string name;
        std::shared_ptr<PreferencesModule> module;
    };
    std::shared_ptr<PreferencesModule> moduleNamed(std::string_view name) const;

    std::shared_ptr<Window> window_;
    std::vector<Named> modules_;
    std::string selected_;
    ObservationRef observation_;
};

// The host's own modules.
std::shared_ptr<PreferencesModule> makeGeneralPreferences(MailEngine& engine);
std::shared_ptr<PreferencesModule> makeAccountPreferences(MailEngine& engine, std::weak_ptr<Window> window);

}  // namespace qs
