#include "Platform.h"

#include <unistd.h>

#include <cstdlib>

#include "Adapters.h"
#include "Contacts/ContactBook.h"
#include "Foundation/FileSystem.h"
#include "Http/HttpClient.h"
#include "Images/ImageDecoder.h"
#include "Keychain/Keychain.h"
#include "Reachability/NetworkState.h"
#include "Reminders/ReminderStore.h"
#include "SystemFacts/ProcessInfo.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

// Of the programs that are delivered beside this one.
std::filesystem::path programBeside(std::string_view name) {
    std::error_code failed;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failed);
    return program.parent_path() / name;
}

// It works for this process and in its folders, and ends with it.
void registerHelper(Workspace& workspace, const std::filesystem::path& dataFolder) {
    std::error_code failed;
    const auto helper = programBeside("quillstead-helper");
    if (!std::filesystem::exists(helper, failed)) return;
    workspace.registerApplication("com.tallowbay.Quillstead", helper,
                                  {"--data", dataFolder.string(), "--bundles", (dataFolder / "Bundles").string(),
                                   "--for-process", std::to_string(::getpid())});
}

// A service manager may hand the vault's key in, so that it lies on no disk.
std::shared_ptr<Keychain> makeKeychain(const PlatformOptions& options) {
    Keychain::VaultOptions vault{.folder = options.dataFolder / "Keychain", .key = {}, .files = nullptr};
    const char* credentials = std::getenv("CREDENTIALS_DIRECTORY");
    if (credentials) vault.key = std::filesystem::path(credentials) / "quillstead-vault-key";
    std::error_code failed;
    if (!std::filesystem::exists(vault.key, failed)) vault.key.clear();
    return options.isApart ? Keychain::vault(vault) : Keychain::standard(vault);
}

}  // namespace

Platform Platform::make(const PlatformOptions& options) {
    Platform platform{.processInfo = makeProcessInfo(options),
                      .workspace = makeWorkspace(),
                      .distributedNotifications =
                          options.isApart ? makeLocalNotificationCenter() : makeDistributedNotificationCenter(),
                      .runningApplications = makeRunningApplications(),
                      .crashReporter = makeCrashReporter(options.dataFolder / "Crash Reports"),
                      .keychain = makeKeychain(options),
                      .network = NetworkState::system(),
                      .http = HttpClient::make({.userAgent = "Quillstead", .certificates = {}}),
                      .imageDecoder = ImageDecoder::inProcess(programBeside("quillstead-image-decoder")),
                      .contacts = ContactBook::inFolder(options.dataFolder / "Contacts", FileSystem::real(), true),
                      .reminders = ReminderStore::inFolder(options.dataFolder / "Reminders", FileSystem::real(), true)};
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
