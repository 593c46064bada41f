#include "Platform.h"

#include "SystemFacts/ProcessInfo.h"

namespace qs {

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
