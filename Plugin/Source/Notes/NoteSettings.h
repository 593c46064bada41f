// What is set about notes beside the plain settings: each mail account's notebook, and bringing back notes that could
// not be sent. Main thread.
#pragma once

#include <vector>

#include "Models/Form.h"

namespace qs {

// None while there are no notebooks and nothing was set aside.
std::vector<FormControl> noteControls();

}  // namespace qs
