// The ports to the machine, in one hand: the program makes them at start, a test puts doubles in place of some.
#pragma once

#include <filesystem>
#include <memory>

namespace qs {

class ContactBook;
class CrashReporter;
class DistributedNotificationCenter;
class HttpClient;
class ImageDecoder;
class Keychain;
class NetworkState;
class ProcessInfo;
class ReminderStore;
class RunningApplications;
class Workspace;

struct PlatformOptions {
    std::filesystem::path dataFolder;
    int osMinor = 12;
    // Keeps off the desktop session: no keyring, and no notifications to other programs or from them. For a demo, which
    // must not meet the person's own program.
    bool isApart = false;
};

struct Platform {
    std::shared_ptr<ProcessInfo> processInfo;
    std::shared_ptr<Workspace> workspace;
    std::shared_ptr<DistributedNotificationCenter> distributedNotifications;
    std::shared_ptr<RunningApplications> runningApplications;
    std::shared_ptr<CrashReporter> crashReporter;
    std::shared_ptr<Keychain> keychain;
    std::shared_ptr<NetworkState> network;
    std::shared_ptr<HttpClient> http;  // to be dropped before the run loop
    std::shared_ptr<ImageDecoder> imageDecoder;
    std::shared_ptr<ContactBook> contacts;     // <data folder>/Contacts
    std::shared_ptr<ReminderStore> reminders;  // <data folder>/Reminders; to be dropped before the run loop

    // The Linux adapters. The helper program, if it lies beside this one, is registered with the workspace under
    // "com.tallowbay.Quillstead", for the bundles in <data folder>/Bundles; registering it again changes that.
    static Platform make(const PlatformOptions& options);
    // The ports in force. Ports of a platform that was never installed are null: callers of a port that may be missing
    // (a test without it) get a no-op or an empty answer from these windows instead.
    static Platform& current();
    static void install(Platform platform);
};

// The OS minor in force: 10, 11 or 12; 0 when there is no process info.
int osMinor();

}  // namespace qs
