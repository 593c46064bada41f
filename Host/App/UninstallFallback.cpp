#include "UninstallFallback.h"

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

class CenterWithFallback : public DistributedNotificationCenter {
public:
    CenterWithFallback(std::shared_ptr<DistributedNotificationCenter> bus, fs::path dataFolder)
        : bus_(std::move(bus)), dataFolder_(std::move(dataFolder)) {}

    void postNotificationName(std::string_view name, std::string_view object, const Value& userInfo) override {
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
};

}  // namespace

void installUninstallFallback(Platform& platform, const fs::path& dataFolder) {
    // It would only say that nobody can talk to it, and end.
    if (!platform.distributedNotifications->isConnected())
        platform.workspace->registerApplication(kHelperIdentifier, {});
    platform.distributedNotifications =
        std::make_shared<CenterWithFallback>(std::move(platform.distributedNotifications), dataFolder);
}

}  // namespace qs
