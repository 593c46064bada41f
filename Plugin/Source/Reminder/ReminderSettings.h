// Tasks in the preferences: which list each mail account uses, and bringing back what was removed. Main thread.
#pragma once

#include <vector>

#include "Models/Form.h"
#include "Services/QSServicesManager.h"

namespace qs {

// A pop-up for each account; without any list, a sentence.
std::vector<FormControl> defaultReminderListControls();
// Tasks and follow-ups that nobody removed by hand; none when there are none.
std::vector<FormControl> setAsideReminderControls();
QSAccountChoice defaultReminderListChoice();

}  // namespace qs
