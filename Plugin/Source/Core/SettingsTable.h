// The settings that a person may change, in groups, with labels and bounds. One row here is one control in the pane.
#pragma once

#include <vector>

#include "Models/Form.h"

namespace qs {

// With the values in force. Changing a control stores its setting and carries out what hangs on it.
std::vector<FormGroup> settingsGroups();

}  // namespace qs
