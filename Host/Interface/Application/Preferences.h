// The preferences window: modules, each with a name and a form, listed in the toolbar of the window.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Models/Form.h"

namespace qs {

class Toolbar;
class View;
class Window;

class PreferencesModule : public HostObject {
public:
    using HostObject::HostObject;
    virtual std::shared_ptr<FormModel> form() = 0;  // asked again after every change
    virtual std::string imageName() const = 0;
    virtual void willBeDisplayed() {}  // called when it comes into sight
};

class Preferences : public HostObject {
public:
    using HostObject::HostObject;  // class "NSPreferences"

    // By key "_preferenceModules": what was added, in order.
    virtual std::vector<std::shared_ptr<PreferencesModule>> preferenceModules() const = 0;
    virtual void addPreferenceNamed(std::string name, std::shared_ptr<PreferencesModule> owner) = 0;
    // By key "_preferencesPanel": its toolbar has an item for each module, identifier = the module's name.
    virtual std::shared_ptr<Window> preferencesPanel() const = 0;
    virtual std::shared_ptr<Window> preferenceWindow() const = 0;  // the same; visible or not
    virtual void showPreferencesPanelForOwner(const std::shared_ptr<PreferencesModule>& owner) = 0;
};

namespace preferences {
// Exchangeable class method of NSPreferences.
inline const Operation<std::shared_ptr<Preferences>()> sharedPreferences{"sharedPreferences"};
}  // namespace preferences

// Class "ViewerPreferences", class method: contact pictures were switched on or off in the host's standard defaults
// ("EnableContactPhotos").
namespace viewer_preferences {
inline const Operation<void()> postContactPhotoPreferenceChanged{"postContactPhotoPreferenceChanged"};
}  // namespace viewer_preferences

}  // namespace qs
