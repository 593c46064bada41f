// Makes the Linux adapters; private to this folder. Everybody else goes through Platform::make.
#pragma once

#include <memory>

namespace qs {

struct PlatformOptions;
class CrashReporter;
class DistributedNotificationCenter;
class ProcessInfo;
class RunningApplications;
class Workspace;

std::shared_ptr<ProcessInfo> makeProcessInfo(const PlatformOptions& options);

}  // namespace qs
