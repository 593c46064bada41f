// Makes the Linux adapters; private to this folder. Everybody else goes through Platform::make.
#pragma once

#include <filesystem>
#include <memory>

namespace qs {

struct PlatformOptions;
class CrashReporter;
class DistributedNotificationCenter;
class ProcessInfo;
class RunningApplications;
class Workspace;

std::shared_ptr<CrashReporter> makeCrashReporter(std::filesystem::path folder);
std::shared_ptr<DistributedNotificationCenter> makeDistributedNotificationCenter();
std::shared_ptr<DistributedNotificationCenter> makeLocalNotificationCenter();
std::shared_ptr<ProcessInfo> makeProcessInfo(const PlatformOptions& options);
std::shared_ptr<RunningApplications> makeRunningApplications();
std::shared_ptr<Workspace> makeWorkspace();

}  // namespace qs
