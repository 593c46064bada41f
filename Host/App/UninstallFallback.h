// Uninstalling where there is no session bus: the helper program, whose work it is to remove the bundle, can't be told
// there, so it is not started, and the same is done here.
#pragma once

#include <filesystem>

namespace qs {

struct Platform;

// Puts itself before the platform's notification centre.
void installUninstallFallback(Platform& platform, const std::filesystem::path& dataFolder);

}  // namespace qs
