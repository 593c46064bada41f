// Which list of tasks each mail account uses, for the preferences. Main thread.
#pragma once

#include <vector>

#include "Models/Form.h"
#include "Services/QSServicesManager.h"

namespace qs {

// A pop-up for each account; without any list, a sentence.
std::vector<FormControl> defaultReminderListControls();
QSAccountChoice defaultReminderListChoice();

}  // namespace qs
