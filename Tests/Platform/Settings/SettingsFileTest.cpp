#include "Settings/SettingsFile.h"

#include <gmock/gmock.h>

#include <functional>

#include "Foundation/PropertyList.h"
#include "Support/LogCapture.h"
#include "Support/TornDisk.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::filesystem::path kFile = "/settings/suite.plist";
const Dictionary kOld{{"draft", "old"}}, kNew{{"draft", "new"}, {"more", Array{1, 2, 3}}};

class SettingsFileTest : public ::testing::Test {
protected:
    static Dictionary reopened(TornDisk& disk) { return SettingsFile(disk, kFile).open(); }
    static std::vector<std::string> fileNames(const TornDisk& disk) {
        std::vector<std::string> names;
        for (const auto& [path, content] : disk.contents())
            names.push_back(std::filesystem::path(path).filename().string());
        return names;
    }

    LogCapture log_;
};

// Saves kNew over kOld with the power cut at every step in turn, and looks at what each disk left over gives.
void cutSavesEverywhere(const std::function<void(TornDisk&)>& prepare) {
    for (int cut = 1;; ++cut) {
        ASSERT_LT(cut, 50);
        TornDisk disk;
        prepare(disk);
        SettingsFile file(disk, kFile);
        ASSERT_EQ(file.open(), kOld);
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const bool isSaved = file.save(kNew).has_value();
        for (int seed = -1; seed < 40; ++seed) {
            const auto left = seed < 0 ? disk.afterPowerCut() : disk.afterPowerCut(static_cast<unsigned>(seed));
            SettingsFile found(*left, kFile);
            const Dictionary values = found.open();
            EXPECT_TRUE(values == kNew || (!isSaved && values == kOld)) << "cut " << cut << ", seed " << seed;
            EXPECT_THAT(found.damageReport(), IsEmpty()) << "cut " << cut << ", seed " << seed;
            for (const auto& [path, content] : left->contents())
                EXPECT_THAT(path, ::testing::Not(HasSubstr(".tmp"))) << "a leftover after cut " << cut;
        }
        if (isSaved) break;
    }
}

TEST_F(SettingsFileTest, PowerCutAtAnyStepOfAWriteLeavesOldOrNew) {
    cutSavesEverywhere([](TornDisk& disk) { disk.put(kFile, xmlPropertyList(kOld)); });
}

TEST_F(SettingsFileTest, PowerCutAtAnyStepOfALaterWriteLeavesOldOrNew) {
    cutSavesEverywhere([](TornDisk& disk) {
        SettingsFile file(disk, kFile);
        file.open();
        for (const char* value : {"a", "b", "c"})
            ASSERT_TRUE(file.save({{"draft", value}}));
        ASSERT_TRUE(file.save(kOld));
    });
}

TEST_F(SettingsFileTest, AFailureAtAnyStepLeavesTheOldValuesAndASecondTryTheNew) {
    for (const auto fault : {TornDisk::Fault::Error, TornDisk::Fault::NoSpace, TornDisk::Fault::ShortWrite})
        for (int step = 1; step < 15; ++step) {
            TornDisk disk;
            disk.put(kFile, xmlPropertyList(kOld));
            disk.put("/settings/suite.plist.1", xmlPropertyList(Dictionary{{"draft", "older"}}));
            SettingsFile file(disk, kFile);
            ASSERT_EQ(file.open(), kOld);
            disk.failAt({.step = step, .fault = fault});
            const bool isSaved = file.save(kNew).has_value();
            const Dictionary found = reopened(disk);
            EXPECT_TRUE(found == kNew || (!isSaved && found == kOld)) << "step " << step;
            EXPECT_TRUE(file.save(kNew));
            EXPECT_EQ(reopened(disk), kNew);
        }
}

TEST_F(SettingsFileTest, PowerCutDuringRepairNeverLosesTheEarlierGeneration) {
    for (int cut = 1;; ++cut) {
        ASSERT_LT(cut, 50);
        TornDisk disk;
        disk.put(kFile, "<plist><dict>");
        disk.put("/settings/suite.plist.1", xmlPropertyList(kOld));
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        reopened(disk);
        for (unsigned seed = 0; seed < 40; ++seed)
            EXPECT_EQ(reopened(*disk.afterPowerCut(seed)), kOld) << "cut " << cut << ", seed " << seed;
        if (disk.steps() < cut) break;
    }
}

TEST_F(SettingsFileTest, ADamagedFileGivesWayToTheNewestReadableGeneration) {
    const std::string first = xmlPropertyList(Dictionary{{"g", 1}}), second = xmlPropertyList(Dictionary{{"g", 2}});
    const struct {
        const char* why;
        std::string damaged, one, two;
        Dictionary values;
        const char* report;
    } cases[] = {
        {"cut in its middle",
         first.substr(0, first.size() / 2),
         first,
         second,
         {{"g", 1}},
         "saved before it are in use"},
        {"empty", "", first, second, {{"g", 1}}, "saved before it are in use"},
        {"zeroes", std::string(4096, '\0'), first, second, {{"g", 1}}, "saved before it are in use"},
        {"another type", xmlPropertyList(Array{1}), first, second, {{"g", 1}}, "saved before it are in use"},
        {"two damaged", "<plist", "<plist", second, {{"g", 2}}, "saved before it are in use"},
        {"all damaged", "<plist", "x", "y", {}, "start anew"},
    };
    for (const auto& c : cases) {
        TornDisk disk;
        disk.put(kFile, c.damaged);
        disk.put("/settings/suite.plist.1", c.one);
        disk.put("/settings/suite.plist.2", c.two);
        SettingsFile file(disk, kFile);
        EXPECT_EQ(file.open(), c.values) << c.why;
        EXPECT_THAT(file.damageReport(), HasSubstr(c.report)) << c.why;
        EXPECT_THAT(file.damageReport(), HasSubstr("suite.plist")) << c.why;
        EXPECT_EQ(disk.contents()["/settings/suite.plist.damaged-1"], c.damaged) << c.why;
        SettingsFile again(disk, kFile);
        EXPECT_EQ(again.open(), c.values) << c.why;
        EXPECT_THAT(again.damageReport(), IsEmpty()) << "told once: " << c.why;
    }
}

TEST_F(SettingsFileTest, DamagedFilesAreNeverOverwritten) {
    TornDisk disk;
    for (const char* damaged : {"first", "second"}) {
        disk.put(kFile, damaged);
        reopened(disk);
    }
    EXPECT_EQ(disk.contents()["/settings/suite.plist.damaged-1"], "first");
    EXPECT_EQ(disk.contents()["/settings/suite.plist.damaged-2"], "second");

    // With a full disk it stays where it is, and later writes keep it aside first.
    disk.put(kFile, "third");
    disk.failAt({.step = 1, .fault = TornDisk::Fault::NoSpace, .lasting = true});
    SettingsFile file(disk, kFile);
    file.open();
    EXPECT_FALSE(file.save(kNew));
    EXPECT_EQ(disk.contents()["/settings/suite.plist"], "third");
    disk.failAt({});
    EXPECT_TRUE(file.save(kNew));
    EXPECT_EQ(disk.contents()["/settings/suite.plist.damaged-3"], "third");
    EXPECT_EQ(reopened(disk), kNew);
}

TEST_F(SettingsFileTest, KeepsTwoEarlierGenerations) {
    TornDisk disk;
    SettingsFile file(disk, kFile);
    EXPECT_THAT(file.open(), IsEmpty());
    for (int i = 1; i <= 4; ++i)
        ASSERT_TRUE(file.save({{"i", i}}));
    ASSERT_TRUE(file.save({{"i", 4}}));  // the same again is no new generation
    EXPECT_THAT(fileNames(disk), ::testing::ElementsAre("suite.plist", "suite.plist.1", "suite.plist.2"));
    for (const auto& [name, i] : {std::pair{"", 4}, {".1", 3}, {".2", 2}})
        EXPECT_EQ(parsePropertyList(disk.contents()[kFile.string() + name]).value()["i"], Value(i)) << name;
}

TEST_F(SettingsFileTest, TakesUpWhatOthersWriteAndKeepsWhatTheySpoil) {
    TornDisk disk;
    SettingsFile file(disk, kFile);
    file.open();
    ASSERT_TRUE(file.save(kOld));
    EXPECT_FALSE(file.changedFromOutside()) << "our own write";
    disk.put(kFile, xmlPropertyList(kNew));
    EXPECT_EQ(file.changedFromOutside(), kNew);
    EXPECT_FALSE(file.changedFromOutside());

    disk.put(kFile, "<plist><dict><key>half an edit");
    EXPECT_FALSE(file.changedFromOutside());
    EXPECT_TRUE(log_.contains("suite.plist"));
    ASSERT_TRUE(file.save(kOld));
    EXPECT_EQ(disk.contents()["/settings/suite.plist.damaged-1"], "<plist><dict><key>half an edit");
    ASSERT_TRUE(disk.remove(kFile));
    EXPECT_FALSE(file.changedFromOutside()) << "some editors remove the file before they write it";
    ASSERT_TRUE(file.save(kOld));
    EXPECT_EQ(reopened(disk), kOld);
}

}  // namespace
}  // namespace qs
