// The settings: defaults, version notes, what is taken over from the host at the first run.
#include <fstream>

#include "Application/Preferences.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "Models/Menu.h"
#include "PluginTest.h"
#include "SystemFacts/ProcessInfo.h"

namespace qs {
namespace {

using SettingsTest = PluginTest;

TEST_F(SettingsTest, TheVersionIsNewForExactlyOneStart) {
    startHost();
    EXPECT_TRUE(defaults().boolForKey("QSQuillsteadNewVersion"));
    EXPECT_EQ(defaults().integerForKey("QSQuillsteadVersion"), 1);
    restart();
    EXPECT_FALSE(defaults().boolForKey("QSQuillsteadNewVersion"));
    defaults().setObject(0, "QSQuillsteadVersion");  // as if an older bundle had run last
    restart();
    EXPECT_TRUE(defaults().boolForKey("QSQuillsteadNewVersion"));
    restart();
    EXPECT_FALSE(defaults().boolForKey("QSQuillsteadNewVersion"));
}

TEST_F(SettingsTest, TheFirstRunTakesOverTheHostsKeysAndNoLaterOneDoes) {
    int announcements = 0;
    startHost({.prepareSettings = [&] {
        // Before the host's own method of that name, which then stays away.
        ClassRegistry::current()
            .define("ViewerPreferences")
            .addClassMethod(viewer_preferences::postContactPhotoPreferenceChanged, [&](Class&) { ++announcements; });
        auto standard = UserDefaults::suite("");
        if (!standard->boolForKey("Seeded")) {
            standard->setObject(true, "Seeded");
            standard->setObject(45, "QSSendDelaySeconds");
            standard->setObject("kept", "OtherKey");
        }
    }});
    auto standard = UserDefaults::suite("");
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 45);
    EXPECT_FALSE(standard->setValues().contains("QSSendDelaySeconds"));
    EXPECT_EQ(standard->stringForKey("OtherKey"), "kept");
    EXPECT_TRUE(standard->boolForKey("EnableContactPhotos"));
    EXPECT_EQ(announcements, 1);

    standard->setObject(false, "EnableContactPhotos");
    standard->setObject(90, "QSSendDelaySeconds");
    restart();
    EXPECT_FALSE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 45);
    EXPECT_EQ(announcements, 1);
}

// They are two files: a power cut must find a key in one of them at least.
TEST_F(SettingsTest, WhatIsTakenOverIsOnDiskBeforeTheHostLosesIt) {
    std::filesystem::path file;
    const auto seed = [](int seconds) {
        UserDefaults::suite("")->setObject(seconds, "QSSendDelaySeconds");
        ASSERT_TRUE(UserDefaults::suite("")->synchronize());
    };
    startHost({.prepareSettings = [&] { seed(45); }});
    file = host_->dataFolder() / "Settings" / "com.tallowbay.Quillstead.plist";
    const auto text = FileSystem::real().read(file);
    ASSERT_TRUE(text) << text.error().description;
    EXPECT_EQ(parsePropertyList(*text).value()["QSSendDelaySeconds"].integerValue(), 45);
    TearDown();

    // A disk that takes nothing.
    startHost({.prepareSettings = [&] {
        seed(46);
        UserDefaults::suite("com.tallowbay.Quillstead");
        std::filesystem::create_directories(Platform::current().processInfo->dataFolder() / "Settings" /
                                            "com.tallowbay.Quillstead.plist" / "in the way");
    }});
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 46);
    EXPECT_EQ(UserDefaults::suite("")->integerForKey("QSSendDelaySeconds"), 46);
    std::filesystem::remove_all(host_->dataFolder() / "Settings" / "com.tallowbay.Quillstead.plist");
}

TEST_F(SettingsTest, ShippedTimesOfDayAreTimesOfThePersonsZone) {
    for (const char* zone : {"UTC", "America/New_York", "Asia/Kolkata"}) {
        startHost({.timeZone = zone});
        auto begin = defaults().objectForKey("QSWorkingHoursBegin").dateValue();
        ASSERT_TRUE(begin);
        EXPECT_EQ(formatDate(*begin, {"HH:mm", "en_US_POSIX", zone}), "09:00") << zone;
        TearDown();
    }
    startHost();
}

TEST_F(SettingsTest, BetaVersionsOnceUsedKeepTheirSwitch) {
    startHost();
    EXPECT_FALSE(defaults().boolForKey("QSEnableBetaUpdatesOption"));
    defaults().setObject(true, "QSUpdateBetaVersions");
    restart();
    EXPECT_TRUE(defaults().boolForKey("QSEnableBetaUpdatesOption"));
    defaults().setObject(false, "QSUpdateBetaVersions");
    restart();
    EXPECT_TRUE(defaults().boolForKey("QSEnableBetaUpdatesOption"));
}

TEST_F(SettingsTest, DialogsReachTheSettingsByKeyPath) {
    startHost();
    auto& controller = QSPluginDelegate::quillsteadDefaultsController();
    controller.setValueForKeyPath(75, "values.QSSendDelaySeconds");
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 75);
    EXPECT_EQ(controller.valueForKeyPath("values.QSSendDelaySeconds").integerValue(), 75);
}

// A bundle whose shipped settings are missing or damaged.
TEST_F(SettingsTest, WithoutShippedSettingsTheStartGoesOnAndUnsetKeysAreNothing) {
    for (const char* shipped : {"", "no property list"}) {
        host_ = std::make_unique<TemporaryHost>();
        const auto folder = host_->dataFolder() / "Bare.mailbundle";
        std::filesystem::create_directories(folder / "Resources");
        std::filesystem::copy_file(std::filesystem::path(QS_PLUGIN_BUNDLE) / "Info.plist", folder / "Info.plist");
        if (*shipped) std::ofstream(folder / "Resources" / "QuillsteadDefaults.plist") << shipped;
        auto bundle = Bundle::open(folder);
        ASSERT_TRUE(bundle) << bundle.error().description;
        MailBundleLoad(*bundle);
        EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 0) << shipped;
        EXPECT_TRUE(defaults().objectForKey("QSWorkingHoursBegin").isNil()) << shipped;
        EXPECT_EQ(defaults().integerForKey("QSQuillsteadVersion"), 1) << shipped;
        EXPECT_NE(host_->application().mainMenu()->itemAtIndex(5)->submenu()->itemWithTag(kTagSendLater), nullptr);
        TearDown();
    }
    startHost();
}

TEST_F(SettingsTest, EveryKeyThatAPersonCantSetFirstHasADefault) {
    startHost();
    for (const char* key :
         {"QSSendDelaySeconds", "QSWorkingHoursBegin", "QSWorkingHoursEnd", "QSSundayIsWorkingDay",
          "QSMondayIsWorkingDay", "QSTuesdayIsWorkingDay", "QSWednesdayIsWorkingDay", "QSThursdayIsWorkingDay",
          "QSFridayIsWorkingDay", "QSSaturdayIsWorkingDay", "QSMinAttachmentSize", "QSFollowUpTimeDistance",
          "QSSendLaterShortcut", "QSCreateNoteShortcut", "QSCreateQuickNoteShortcut", "QSSnoozeShortcut",
          "QSSendLaterSpecialTimeKey"})
        EXPECT_FALSE(defaults().objectForKey(key).isNil()) << key;
}

TEST_F(SettingsTest, FlagsNeedBothNamesAndAreForgottenAtARestart) {
    startHost();
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, "A"));
    delegate().setFlag(true, QSMessageFlagSendImmediately, "A");
    EXPECT_TRUE(delegate().flagForKey(QSMessageFlagSendImmediately, "A"));
    EXPECT_FALSE(delegate().flagForKey(QSMessageOpenAfterUndo, "A"));
    // Id first, key second: what one pair joins to, no other may.
    EXPECT_FALSE(delegate().flagForKey("A", QSMessageFlagSendImmediately));
    delegate().setFlag(true, QSMessageFlagSendImmediately, "");
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, ""));
    delegate().setFlag(false, QSMessageFlagSendImmediately, "A");
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, "A"));
    delegate().setFlag(true, QSMessageFlagSendImmediately, "A");
    restart();
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, "A"));
}

}  // namespace
}  // namespace qs
