#include "Platform.h"

#include <unistd.h>

#include "Adapters.h"
#include "SystemFacts/ProcessInfo.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

// The helper is delivered beside the program. It works for this process and in its folders, and ends with it.
void registerHelper(Workspace& workspace, const std::filesystem::path& dataFolder) {
    std::error_code failed;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failed);
    const auto helper = program.parent_path() / "quillstead-helper";
    if (failed || !std::filesystem::exists(helper, failed)) return;
    workspace.registerApplication("com.tallowbay.Quillstead", helper,
                                  {"--data", dataFolder.string(), "--bundles", (dataFolder / "Bundles").string(),
                                   "--for-process", std::to_string(::getpid())});
}

}  // namespace

Platform Platform::make(const PlatformOptions& options) {
    Platform platform{.processInfo = makeProcessInfo(options),
                      .workspace = makeWorkspace(),
                      .distributedNotifications = makeDistributedNotificationCenter(),
                      .runningApplications = makeRunningApplications(),
                      .crashReporter = makeCrashReporter(options.dataFolder / "Crash Reports")};
    registerHelper(*platform.workspace, options.dataFolder);
    return platform;
}

Platform& Platform::current() {
    static auto* platform = new Platform;  // never torn down: ports are dropped by installing an empty platform
    return *platform;
}

void Platform::install(Platform platform) { current() = std::move(platform); }

int osMinor() {
    const auto& info = Platform::current().processInfo;
    return info ? info->operatingSystemVersion().minor : 0;
}

}  // namespace qs
