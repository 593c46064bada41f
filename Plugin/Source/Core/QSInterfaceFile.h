// Interface files: dialogs as resources. Such a property list names panels; each is a form with controls and buttons,
// whose texts pass through the localisation call. What a control is bound to and what a button does are names, to which
// the owner gives their meaning.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct FormModel;

struct QSInterfacePanel {
    std::shared_ptr<FormModel> form;
    std::map<std::string, std::string> bindings;  // by control, a key path such as "values.QSSendLaterModeKey"
    std::vector<std::string> actions;             // by button, such as "confirmDialog:"
};

using QSInterface = std::map<std::string, QSInterfacePanel, std::less<>>;

// Resources/<name>.plist of the plug-in's bundle. Each call makes new panels.
Result<QSInterface> loadInterfaceFile(std::string_view name);

}  // namespace qs
