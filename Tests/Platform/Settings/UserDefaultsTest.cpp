#include "Settings/UserDefaults.h"

#include <gmock/gmock.h>

#include <thread>

#include "Foundation/PropertyList.h"
#include "Support/TemporaryFolder.h"
#include "Support/TornDisk.h"
#include "Support/VirtualClockTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::string_view kSuite = "com.example.plugin";
const std::filesystem::path kFile = "/settings/com.example.plugin.plist";

// Collects the keys that change notices tell.
class Notices {
public:
    std::vector<std::string> take() { return std::exchange(keys_, {}); }

private:
    std::vector<std::string> keys_;
    ObservationRef observation_ = NotificationCenter::defaultCenter().addObserver(
        std::string(UserDefaultsDidChangeNotification), [this](const Notification& notice) {
            for (const Value& key : notice.userInfo["keys"].array())
                keys_.push_back(notice.userInfo["suite"].stringValue() + ":" + key.stringValue());
        });
};

class UserDefaultsTest : public VirtualClockTest {
protected:
    UserDefaultsTest() { restart(); }
    ~UserDefaultsTest() override { UserDefaults::setFolder("/nowhere"); }

    // Another life of the program, with what the disk holds.
    std::shared_ptr<UserDefaults> restart() {
        UserDefaults::setFolder("/settings", &disk_);
        return UserDefaults::suite(kSuite);
    }
    Dictionary onDisk() { return parsePropertyList(disk_.contents()[kFile.string()]).value_or(Value()).dictionary(); }

    TornDisk disk_;
    Notices notices_;
};

TEST_F(UserDefaultsTest, SetValuesStandOverRegisteredOnes) {
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->registerDefaults({{"delay", 20}, {"name", "x"}});
    defaults->registerDefaults({{"name", "y"}, {"ratio", 0.5}});
    EXPECT_EQ(defaults->integerForKey("delay"), 20);
    EXPECT_EQ(defaults->stringForKey("name"), "y");
    EXPECT_EQ(defaults->floatForKey("ratio"), 0.5f);
    EXPECT_TRUE(defaults->objectForKey("other").isNil());

    defaults->setObject(30, "delay");
    defaults->setObject("YES", "flag");
    EXPECT_EQ(defaults->integerForKey("delay"), 30);
    EXPECT_TRUE(defaults->boolForKey("flag"));
    EXPECT_EQ(defaults->setValues(), (Dictionary{{"delay", 30}, {"flag", "YES"}}));
    EXPECT_EQ(defaults->dictionaryRepresentation(),
              (Dictionary{{"delay", 30}, {"flag", "YES"}, {"name", "y"}, {"ratio", 0.5}}));
    defaults->removeObjectForKey("delay");
    EXPECT_EQ(defaults->integerForKey("delay"), 20);
    ASSERT_TRUE(defaults->synchronize());
    EXPECT_EQ(onDisk(), (Dictionary{{"flag", "YES"}})) << "registered values are not written";
}

TEST_F(UserDefaultsTest, ThereIsOneObjectForEachSuiteAndAFileForEach) {
    EXPECT_EQ(UserDefaults::suite(kSuite), UserDefaults::suite(kSuite));
    const auto host = UserDefaults::suite("");
    host->setObject(1, "EnableContactPhotos");
    UserDefaults::suite(kSuite)->setObject(2, "QSKey");
    ASSERT_TRUE(UserDefaults::synchronizeAll());
    EXPECT_TRUE(disk_.contents().contains("/settings/standard.plist"));
    EXPECT_TRUE(disk_.contents().contains(kFile.string()));
    EXPECT_TRUE(host->objectForKey("QSKey").isNil());
}

TEST_F(UserDefaultsTest, ChangesAreWrittenWithinASecondAndOnce) {
    const auto defaults = UserDefaults::suite(kSuite);
    for (int i = 0; i < 20; ++i)
        defaults->setObject(i, "key" + std::to_string(i));
    loop_->runUntilIdle();
    EXPECT_THAT(onDisk(), IsEmpty());
    loop_->advance(1);
    EXPECT_EQ(onDisk().size(), 20u);
    EXPECT_FALSE(disk_.contents().contains(kFile.string() + ".1")) << "one write for all";
    defaults->setObject("later", "key0");
    loop_->advance(1);
    EXPECT_EQ(onDisk()["key0"], Value("later"));
    const int steps = disk_.steps();
    defaults->setObject("later", "key0");
    loop_->advance(5);
    EXPECT_EQ(disk_.steps(), steps) << "nothing changed, nothing written";
}

TEST_F(UserDefaultsTest, WhatWasSynchronizedIsThereAfterAPowerCut) {
    UserDefaults::suite(kSuite)->setObject("kept", "a");
    ASSERT_TRUE(UserDefaults::suite(kSuite)->synchronize());
    UserDefaults::suite(kSuite)->setObject("unsaved", "b");
    const auto left = disk_.afterPowerCut();
    UserDefaults::setFolder("/settings", left.get());
    EXPECT_EQ(UserDefaults::suite(kSuite)->setValues(), (Dictionary{{"a", "kept"}}));
    UserDefaults::setFolder("/nowhere");
}

TEST_F(UserDefaultsTest, AFailedWriteIsToldAndTriedAgain) {
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->setObject(1, "a");
    disk_.failAt({.step = 1, .fault = TornDisk::Fault::NoSpace, .lasting = true});
    const auto failed = defaults->synchronize();
    ASSERT_FALSE(failed);
    loop_->advance(1);
    EXPECT_TRUE(log_.contains("cannot be saved"));
    EXPECT_EQ(defaults->integerForKey("a"), 1);
    disk_.failAt({});
    loop_->advance(15);
    EXPECT_EQ(onDisk(), (Dictionary{{"a", 1}}));
}

TEST_F(UserDefaultsTest, ChangesAreAnnouncedOnTheMainThreadTogether) {
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->setObject(1, "a");
    defaults->setObject(2, "b");
    defaults->setObject(1, "a");
    EXPECT_THAT(notices_.take(), IsEmpty());
    loop_->runUntilIdle();
    EXPECT_THAT(notices_.take(), ElementsAre("com.example.plugin:a", "com.example.plugin:b"));
    defaults->setObject(1, "a");
    defaults->removeObjectForKey("never set");
    loop_->runUntilIdle();
    EXPECT_THAT(notices_.take(), IsEmpty()) << "no change, no notice";
    std::thread([&] { defaults->removeObjectForKey("a"); }).join();
    loop_->runUntilIdle();
    EXPECT_THAT(notices_.take(), ElementsAre("com.example.plugin:a"));
}

TEST_F(UserDefaultsTest, AChangeMadeByAnObserverIsAnnouncedInTurn) {
    const auto defaults = UserDefaults::suite(kSuite);
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(UserDefaultsDidChangeNotification),
        [&](const Notification&) { defaults->setObject(true, "seen"); });
    defaults->setObject(1, "a");
    loop_->runUntilIdle();
    EXPECT_THAT(notices_.take(), ElementsAre("com.example.plugin:a", "com.example.plugin:seen"));
}

TEST_F(UserDefaultsTest, TakesUpWhatAnotherProcessWroteWithoutLosingItsOwn) {
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->setObject("old", "theirs");
    defaults->setObject("old", "gone");
    defaults->setObject("old", "both");
    ASSERT_TRUE(defaults->synchronize());
    defaults->setObject("mine", "mine");
    defaults->setObject("mine", "both");
    loop_->runUntilIdle();
    notices_.take();
    disk_.put(kFile, xmlPropertyList(Dictionary{{"theirs", "new"}, {"both", "theirs"}}));
    ASSERT_TRUE(defaults->synchronize());
    const Dictionary merged{{"theirs", "new"}, {"both", "mine"}, {"mine", "mine"}};
    EXPECT_EQ(defaults->setValues(), merged);
    EXPECT_EQ(onDisk(), merged);
    loop_->runUntilIdle();
    EXPECT_THAT(notices_.take(), UnorderedElementsAre("com.example.plugin:gone", "com.example.plugin:theirs"));
}

TEST_F(UserDefaultsTest, ADamagedFileIsReportedOnceAndNothingIsLost) {
    disk_.put(kFile, "<plist><dict><key>QSSnoozeMess");
    disk_.put(kFile.string() + ".1", xmlPropertyList(Dictionary{{"a", 1}}));
    const auto defaults = restart();
    EXPECT_EQ(defaults->integerForKey("a"), 1);
    EXPECT_THAT(UserDefaults::takeDamageReports(), UnorderedElementsAre(HasSubstr("com.example.plugin.plist")));
    EXPECT_THAT(defaults->takeDamageReport(), IsEmpty());
    EXPECT_THAT(restart()->takeDamageReport(), IsEmpty());
}

TEST_F(UserDefaultsTest, SuitesOfAFormerLifeWriteNoMore) {
    const auto former = UserDefaults::suite(kSuite);
    former->setObject("ghost", "a");
    const auto now = restart();
    EXPECT_NE(now, former);
    former->setObject("ghost", "b");
    EXPECT_TRUE(former->synchronize());
    loop_->advance(60);
    EXPECT_THAT(onDisk(), IsEmpty());
}

TEST_F(UserDefaultsTest, ManyThreadsReadAndWriteAtOnce) {
    const auto defaults = UserDefaults::suite(kSuite);
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back([&, t] {
            const std::string key = "thread" + std::to_string(t);
            for (int i = 1; i <= 100; ++i) {
                defaults->setObject(defaults->integerForKey(key) + 1, key);
                if (i % 20 != 0) continue;
                EXPECT_TRUE(defaults->synchronize());
                EXPECT_EQ(UserDefaults::suite(kSuite), defaults);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    loop_->advance(1);
    for (int t = 0; t < 6; ++t)
        EXPECT_EQ(onDisk()["thread" + std::to_string(t)], Value(100));
}

TEST_F(UserDefaultsTest, TheControllerSpeaksKeyPaths) {
    UserDefaultsController controller(UserDefaults::suite(kSuite));
    controller.setValueForKeyPath(5, "values.QSSendDelaySeconds");
    controller.setValueForKeyPath(6, "QSSendDelaySeconds");
    EXPECT_EQ(controller.valueForKeyPath("values.QSSendDelaySeconds"), Value(5));
    EXPECT_TRUE(controller.valueForKeyPath("QSSendDelaySeconds").isNil());
}

TEST(UserDefaultsWithoutLoop, WritesAndTellsAtOnce) {
    TornDisk disk;
    UserDefaults::setFolder("/settings", &disk);
    Notices notices;
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->setObject(1, "a");
    EXPECT_TRUE(disk.afterPowerCut()->contents().contains(kFile.string()));
    EXPECT_THAT(notices.take(), ElementsAre("com.example.plugin:a"));
    UserDefaults::setFolder("/nowhere");
}

TEST(UserDefaultsOnRealDisk, AnEditByHandIsTakenUpWithoutBeingAskedFor) {
    const TemporaryFolder folder;
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const auto limit = loop->after(60, [&] { loop->stop(); });  // for a test that fails
    UserDefaults::setFolder(folder / "settings");
    const auto defaults = UserDefaults::suite(kSuite);
    defaults->setObject(1, "a");
    ASSERT_TRUE(defaults->synchronize());
    folder.write("settings/com.example.plugin.plist", xmlPropertyList(Dictionary{{"a", 2}}));
    Notices notices;
    EXPECT_TRUE(loop->runUntil([&] { return defaults->integerForKey("a") == 2; }));
    UserDefaults::setFolder(folder / "elsewhere");
}

}  // namespace
}  // namespace qs
