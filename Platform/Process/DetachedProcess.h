// Starts programs that are on their own from then on. Never through a shell: arguments arrive as they are.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

// The program of that name on the user's PATH; empty if there is none. A name with a slash names nothing.
std::filesystem::path programNamed(std::string_view name);

// Starts the program in a session of its own, its input empty; it inherits the environment and nothing that is open
// here but standard output and error. Returns when it runs, or why it could not be started. Its end is nobody's
// business.
Result<void> startDetached(const std::filesystem::path& program, const std::vector<std::string>& arguments);

}  // namespace qs
