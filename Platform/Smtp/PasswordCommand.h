// The user's own command that prints a password, as in `pass show mail`. Blocking; not from the main thread.
#pragma once

#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

// The first line of the command's output, masked in the log from now on. The command is started as it is, without a
// shell, and ended after 30 s. An empty command gives an empty password.
Result<std::string> runPasswordCommand(const std::vector<std::string>& command);

}  // namespace qs
