// The ground for tests of reminders: a host whose person has a folder of calendar files.
#pragma once

#include <filesystem>
#include <fstream>

#include "Foundation/FileSystem.h"
#include "PluginTest.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminders/ReminderStore.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"
#include "Support/TemporaryFolder.h"

namespace qs {

class ReminderTest : public PluginTest {
protected:
    // Monday, 23 November 2026, 10:00.
    void start(int osMinor = 12) {
        preparePlatform_ = [this](Platform& platform) {
            platform.reminders = ReminderStore::inFolder(root_, *files_, false);
        };
        startHost({.osMinor = osMinor, .start = {1'795'428'000}});
        applications_->helperRuns = true;
    }
    static QSRemindersManager& manager() { return QSRemindersManager::sharedManager(); }
    static QSServiceRef service() { return QSServicesManager::sharedManager().servicesOfServiceType(17, false).at(0); }
    // As when the preferences come to the front.
    void syncServices() {
        Platform::current().reminders->reload();
        QSServicesManager::sharedManager().syncLinkedServices();
        host_->settle();
    }
    // Another program's work.
    void write(const std::string& file, const std::string& text) {
        std::filesystem::create_directories((root_ / file).parent_path());
        std::ofstream(root_ / file) << text;
        Platform::current().reminders->reload();
    }
    std::vector<std::filesystem::path> calendarFiles() {
        std::vector<std::filesystem::path> found;
        if (!std::filesystem::exists(root_)) return found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_))
            if (entry.path().extension() == ".ics") found.push_back(entry.path());
        return found;
    }
    std::string onlyFile() {
        const auto files = calendarFiles();
        EXPECT_EQ(files.size(), 1U);
        return files.empty() ? std::string() : FileSystem::real().read(files.front()).value_or("");
    }
    // Changes the one file as another program would.
    void rewrite(const std::string& what, const std::string& into) {
        std::string text = onlyFile();
        const auto at = text.find(what);
        ASSERT_NE(at, std::string::npos) << text;
        std::ofstream(calendarFiles().front()) << text.replace(at, what.size(), into);
    }
    std::vector<std::string> userNotifications() {
        std::vector<std::string> told;
        for (const auto& posted : distributed_->posted)
            if (posted.name == "com.apple.Mail.Quillstead.UserNotification")
                told.push_back(posted.userInfo["title"].stringValue() + ": " +
                               posted.userInfo["subtitle"].stringValue());
        return told;
    }

    FileSystem* files_ = &FileSystem::real();  // where the reminders lie
    TemporaryFolder folder_;
    std::filesystem::path root_ = folder_ / "Reminders";
};

}  // namespace qs
