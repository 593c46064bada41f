// The settings: defaults, version notes, what is taken over from the host at the first run.
#include "Foundation/DateFormatter.h"
#include "PluginTest.h"

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
    startHost({.prepareSettings = [] {
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

    standard->setObject(false, "EnableContactPhotos");
    standard->setObject(90, "QSSendDelaySeconds");
    restart();
    EXPECT_FALSE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 45);
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

TEST_F(SettingsTest, EveryKeyThatAPersonCantSetFirstHasADefault) {
    startHost();
    for (const char* key :
         {"QSSendDelaySeconds", "QSWorkingHoursBegin", "QSWorkingHoursEnd", "QSMondayIsWorkingDay",
          "QSSundayIsWorkingDay", "QSMinAttachmentSize", "QSFollowUpTimeDistance", "QSSendLaterShortcut",
          "QSCreateNoteShortcut", "QSCreateQuickNoteShortcut", "QSSnoozeShortcut", "QSSendLaterSpecialTimeKey"})
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
    restart();
    EXPECT_FALSE(delegate().flagForKey(QSMessageFlagSendImmediately, "A"));
}

}  // namespace
}  // namespace qs
