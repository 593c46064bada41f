#include "Core/QSRunAlertPanel.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "Models/Alert.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

Alert makeAlert(std::string_view title, std::string_view format, const std::vector<std::string>& buttons,
                std::initializer_list<Value> arguments) {
    Alert alert;
    alert.windowTitle = title;
    alert.messageText = title;
    alert.informativeText = stringWithFormat(format, arguments);
    alert.buttons = buttons;
    const auto cancel = std::ranges::find(buttons, QSLocalizedString("Cancel"));
    if (cancel != buttons.end()) alert.cancelButton = static_cast<int>(cancel - buttons.begin());
    const auto& info = QSSession::current().bundle().infoDictionary();
    if (auto name = info.find("CFBundleName"); name != info.end())
        alert.iconName = "plugin:" + name->second.stringValue();
    return alert;
}

}  // namespace

int QSRunAlertPanel(std::string_view title, std::string_view format, const std::vector<std::string>& buttons,
                    std::initializer_list<Value> arguments) {
    return makeAlert(title, format, buttons, arguments).runModal();
}

int QSRunAlertSheet(Window& window, std::string_view title, std::string_view format,
                    const std::vector<std::string>& buttons, std::initializer_list<Value> arguments) {
    return makeAlert(title, format, buttons, arguments).runModalSheetForWindow(window);
}

int QSRunAlertPanelWithCheckbox(std::string_view key, std::string_view format, const std::vector<std::string>& buttons,
                                std::initializer_list<Value> arguments) {
    constexpr int kSilenced = -1;
    if (QSPluginDelegate::quillsteadDefaults().boolForKey(key)) return kSilenced;
    Alert alert = makeAlert(QSLocalizedString(key), format, buttons, arguments);
    alert.showsSuppressionButton = true;
    const int answer = alert.runModal();
    QSPluginDelegate::quillsteadDefaults().setObject(alert.suppressionState, key);
    return answer;
}

}  // namespace qs
