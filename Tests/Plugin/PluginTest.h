// The ground for tests of the plug-in: a whole host with a virtual clock, and the plug-in's code linked into the test
// and loaded the way the host loads the library, so that a test can look inside.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Application/Bundles.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "CrashReporter/CrashReporter.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/Bundle.h"
#include "Foundation/RunLoop.h"
#include "MailApplication.h"
#include "Platform.h"
#include "RunningApplications/RunningApplications.h"
#include "Settings/UserDefaults.h"
#include "Support/LogCapture.h"
#include "Support/RecordingWorkspace.h"
#include "Support/TemporaryHost.h"

extern "C" void MailBundleLoad(std::shared_ptr<qs::Bundle> bundle);
extern "C" void MailBundleUnload();

namespace qs {

class RecordingDistributedCenter : public DistributedNotificationCenter {
public:
    struct Posted {
        std::string name;
        Value userInfo;
    };
    std::vector<Posted> posted;

    void postNotificationName(std::string_view name, std::string_view, const Value& userInfo) override {
        posted.push_back({std::string(name), userInfo});
    }
    ObservationRef addObserver(std::string, std::function<void(std::string_view, const Value&)>) override {
        return nullptr;
    }
    bool isConnected() const override { return true; }
};

// Says that the helper runs, or that it doesn't.
class PretendedApplications : public RunningApplications {
public:
    bool helperRuns = false;

    std::vector<RunningApplication> runningApplicationsWithBundleIdentifier(std::string_view identifier) override {
        if (!helperRuns || identifier != "com.tallowbay.Quillstead") return {};
        return {RunningApplication{.processIdentifier = 1}};
    }
    Result<std::unique_ptr<ApplicationAnnouncement>> announce(std::string_view) override {
        return failure("Test", 1, "Nobody announces anything here.");
    }
};

// Notes what it is told, in order.
class RecordingCrashReporter : public CrashReporter {
public:
    std::vector<std::string> told;

    void configureWithIdentifier(std::string_view identifier) override {
        told.push_back("identifier " + std::string(identifier));
    }
    void setUserName(std::string_view name) override { told.push_back("name " + std::string(name)); }
    void setUserEmail(std::string_view email) override { told.push_back("email " + std::string(email)); }
    void setMetaData(std::string_view key, std::string_view value) override {
        told.push_back(std::string(key) + " " + std::string(value));
    }
    void startManager() override { told.emplace_back("start"); }
    std::vector<std::filesystem::path> pendingReports() const override { return {}; }
    void dismissReport(const std::filesystem::path&) override {}
    void deleteReport(const std::filesystem::path&) override {}
};

class PluginTest : public ::testing::Test {
protected:
    // Makes the host and loads the plug-in into it.
    void startHost(TemporaryHostOptions options = {}) {
        options.preparePlatform = [this](Platform& platform) {
            platform.workspace = workspace_;
            platform.distributedNotifications = distributed_;
            platform.runningApplications = applications_;
            platform.crashReporter = crashReporter_;
            if (preparePlatform_) preparePlatform_(platform);
        };
        host_ = std::make_unique<TemporaryHost>(std::move(options));
        load();
    }
    void load() {
        auto bundle = Bundle::open(QS_PLUGIN_BUNDLE);
        ASSERT_TRUE(bundle) << bundle.error().description;
        MailBundleLoad(*bundle);
        // This hint comes by itself, and would stand among those that a test is about.
        if (QSSession::currentIfLoaded()) defaults().setObject(true, "QSShowedDirectInbox");
    }
    // Ends host and plug-in and starts both again on the same data.
    void restart() {
        MailBundleUnload();
        host_->restart();
        load();
    }
    void TearDown() override {
        MailBundleUnload();
        host_.reset();
    }

    QSPluginDelegate& delegate() { return QSPluginDelegate::sharedDelegate(); }
    UserDefaults& defaults() { return QSPluginDelegate::quillsteadDefaults(); }
    QSLifecycleHooks& hooks() { return QSSession::current().lifecycleHooks(); }

    std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
    std::shared_ptr<RecordingDistributedCenter> distributed_ = std::make_shared<RecordingDistributedCenter>();
    std::shared_ptr<PretendedApplications> applications_ = std::make_shared<PretendedApplications>();
    std::shared_ptr<RecordingCrashReporter> crashReporter_;  // none, unless a test makes one first
    std::function<void(Platform&)> preparePlatform_;         // puts in what else a test needs; at each start
    LogCapture log_;
    std::unique_ptr<TemporaryHost> host_;
};

}  // namespace qs
