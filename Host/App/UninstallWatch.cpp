#include "UninstallWatch.h"

#include <string>

#include "BundleRemoval.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/Log.h"
#include "Platform.h"
#include "Workspace/Workspace.h"

namespace qs {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kHelperIdentifier = "com.tallowbay.Quillstead";
constexpr std::string_view kUninstall = "com.apple.Mail.Quillstead.Uninstall";

class WatchedCenter : public DistributedNotificationCenter {
public:
    WatchedCenter(std::shared_ptr<DistributedNotificationCenter> bus, fs::path dataFolder,
                  std::function<void()> uninstalled)
        : bus_(std::move(bus)), dataFolder_(std::move(dataFolder)), uninstalled_(std::move(uninstalled)) {}

    void postNotificationName(std::string_view name, std::string_view object, const Value& userInfo) override {
        if (name == kUninstall) uninstalled_();
        if (name == kUninstall && !bus_->isConnected())
            removeBundle();
        else
            bus_->postNotificationName(name, object, userInfo);
    }
    ObservationRef addObserver(std::string name,
                               std::function<void(std::string_view name, const Value& userInfo)> handler) override {
        return bus_->addObserver(std::move(name), std::move(handler));
    }
    bool isConnected() const override { return bus_->isConnected(); }

private:
    void removeBundle() const {
        if (auto removed = removeInstalledBundle(dataFolder_ / "Bundles", dataFolder_); !removed)
            logError("The plug-in could not be removed: " + removed.error().description);
    }

    const std::shared_ptr<DistributedNotificationCenter> bus_;
    const fs::path dataFolder_;
    const std::function<void()> uninstalled_;
};

}  // namespace

void watchUninstall(Platform& platform, const fs::path& dataFolder, std::function<void()> uninstalled) {
    // It would only say that nobody can talk to it, and end.
    if (!platform.distributedNotifications->isConnected())
        platform.workspace->registerApplication(kHelperIdentifier, {});
    platform.distributedNotifications = std::make_shared<WatchedCenter>(std::move(platform.distributedNotifications),
                                                                        dataFolder, std::move(uninstalled));
}

}  // namespace qs
