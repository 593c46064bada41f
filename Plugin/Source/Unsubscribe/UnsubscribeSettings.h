// The group "Newsletters" in the preferences: whether to offer unsubscribing, and what was asked of whom.
#pragma once

#include "Models/Form.h"

namespace qs {

FormGroup newslettersGroup();

}  // namespace qs
