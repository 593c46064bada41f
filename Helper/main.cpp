// The helper program. See HelperService.h for what it does.
#include <cstdio>

#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "EndWatch.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "HelperOptions.h"
#include "HelperService.h"
#include "Platform.h"
#include "RunningApplications/RunningApplications.h"
#include "UserNotifier.h"

namespace qs {
namespace {

constexpr std::string_view kIdentifier = "com.tallowbay.Quillstead";
constexpr TimeInterval kBusCheck = 30;

int run(const HelperOptions& options) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const EndWatch end(options.forProcess, [&] { loop->stop(); });
    const Platform platform = Platform::make({.dataFolder = options.data});
    if (!platform.distributedNotifications->isConnected()) {
        std::fputs("quillstead-helper: there is no D-Bus session bus, so nobody could tell me anything.\n", stderr);
        return 1;
    }
    const auto notifier = UserNotifier::desktop();
    // First listening, then announcing: whoever finds the helper running is heard.
    const HelperService service(*platform.distributedNotifications, *notifier, {options.bundles, options.data},
                                [&] { loop->stop(); });
    const auto announcement = platform.runningApplications->announce(kIdentifier);
    if (!announcement) {
        std::fputs("quillstead-helper: another one runs already, and it will do.\n", stderr);
        return 0;
    }
    logInfo("Listening for the plug-in.");
    // The bus ends with the desktop session, and so does the helper.
    loop->every(kBusCheck, [&] {
        if (!platform.distributedNotifications->isConnected()) loop->stop();
    });
    loop->run();
    return 0;
}

}  // namespace
}  // namespace qs

int main(int argc, char** argv) {
    const auto options = qs::parseHelperOptions({argv + 1, argv + argc});
    if (!options) {
        std::fprintf(stderr, "quillstead-helper: %s\n%s", options.error().description.c_str(),
                     qs::helperHelp().c_str());
        return 2;
    }
    if (options->help) {
        std::fputs(qs::helperHelp().c_str(), stdout);
        return 0;
    }
    qs::DDLog::addLogger(qs::DDTTYLogger::sharedInstance());
    try {
        return qs::run(*options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quillstead-helper: %s\n", error.what());
        return 1;
    }
}
