// Messages to the helper program that stands beside the plug-in.
#include "Core/QSPluginDelegate.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "RunningApplications/RunningApplications.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

constexpr std::string_view kHelperIdentifier = "com.tallowbay.Quillstead";
constexpr unsigned kLaunchWithoutActivation = 0x200;

void launchHelperUnlessRunning(const Platform& platform) {
    if (!platform.runningApplications || !platform.workspace) return;
    if (!platform.runningApplications->runningApplicationsWithBundleIdentifier(kHelperIdentifier).empty()) return;
    auto path = platform.workspace->absolutePathForAppBundleWithIdentifier(kHelperIdentifier);
    if (path.empty() || !FileSystem::real().exists(path)) return;
    // A failure is ignored: the notification goes out all the same, and nobody hears it.
    (void)platform.workspace->launchApplicationAtURL(path, kLaunchWithoutActivation, {});
}

}  // namespace

void QSPluginDelegate::triggerHelperWithNotificationName(std::string name, Value withUserInfo) {
    RunLoop::main().postToGlobalQueue(
        [platform = Platform::current(), name = std::move(name), userInfo = std::move(withUserInfo)] {
            launchHelperUnlessRunning(platform);
            // There is no wait in between: a helper that was just started may miss the post.
            if (platform.distributedNotifications)
                platform.distributedNotifications->postNotificationName(name, {}, userInfo);
        });
}

}  // namespace qs
