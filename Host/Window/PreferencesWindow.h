// The preferences: general settings of the host, and a pane for each module that a plug-in adds.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Application/Preferences.h"

namespace qs {

class PreferencesWindow : public Preferences {
public:
    using Preferences::Preferences;
    struct Module {
        std::string name, imageName;
    };
    virtual std::vector<Module> modules() = 0;
    virtual void show(std::string_view moduleName) = 0;  // empty: the last one shown
    virtual void close() = 0;
    virtual std::string selectedModule() const = 0;
    virtual std::shared_ptr<FormModel> form() = 0;  // of the selected module
    virtual void setValue(std::string_view control, const Value& value) = 0;
};

}  // namespace qs
