// All alerts of the plug-in. They answer the pressed button's code: 1000 for the first, then 1001, 1002. Escape presses
// the localised "Cancel", or the last button when there is none. Main thread.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Value.h"

namespace qs {

class Window;

// `format` is filled with the arguments (see Foundation/Format.h); title and format come localised. Without buttons the
// alert has one, "OK".
int QSRunAlertPanel(std::string_view title, std::string_view format, const std::vector<std::string>& buttons,
                    std::initializer_list<Value> arguments = {});
// The same as a sheet on the window.
int QSRunAlertSheet(Window& window, std::string_view title, std::string_view format,
                    const std::vector<std::string>& buttons, std::initializer_list<Value> arguments = {});

// An alert that the person can silence. `key` is a boolean setting and, localised, also the title. While the setting is
// on this returns -1 at once and shows nothing; else the alert has a check box, whose state the setting keeps
// afterwards.
int QSRunAlertPanelWithCheckbox(std::string_view key, std::string_view format, const std::vector<std::string>& buttons,
                                std::initializer_list<Value> arguments = {});

}  // namespace qs
