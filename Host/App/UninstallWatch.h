// Hears of it when the plug-in asks for its removal. Where there is no session bus the helper program, whose work it is
// to remove the bundle, can't be told, so it is not started, and the same is done here.
#pragma once

#include <filesystem>
#include <functional>

namespace qs {

struct Platform;

// Puts itself before the platform's notification centre. `uninstalled` is called on any thread.
void watchUninstall(Platform& platform, const std::filesystem::path& dataFolder, std::function<void()> uninstalled);

}  // namespace qs
