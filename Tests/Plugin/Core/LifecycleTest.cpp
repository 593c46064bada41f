// Start, heartbeat, activation, the account offer, and the end.
#include "Application/MailApp.h"
#include "Foundation/NotificationCenter.h"
#include "MainViewer.h"
#include "Models/Menu.h"
#include "PluginTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LifecycleTest : public PluginTest {
protected:
    void post(std::string_view name) { NotificationCenter::defaultCenter().post(name); }
    std::vector<std::string> titlesOf(const Menu& menu) {
        std::vector<std::string> titles;
        for (const auto& item : menu.itemArray())
            titles.push_back(item->isSeparatorItem() ? "-" : item->title());
        return titles;
    }
};

TEST_F(LifecycleTest, TheHeartBeatsEveryThirtySecondsAndAnewAtEachActivation) {
    startHost();
    int fetches = 0, syncs = 0;
    bool syncOnMain = true, fetchOnMain = false;
    hooks().fetchRemoteInfo = [&](bool, const std::function<void()>&) {
        ++fetches;
        fetchOnMain = fetchOnMain || RunLoop::main().isMainThread();
    };
    hooks().syncTrackingPixels = [&] {
        ++syncs;
        syncOnMain = syncOnMain && RunLoop::main().isMainThread();
    };
    delegate().defibrillate();
    host_->settle();
    EXPECT_EQ(syncs, 1);
    host_->advance(29);
    EXPECT_EQ(syncs, 1);
    host_->advance(1);
    EXPECT_EQ(syncs, 2);
    host_->advance(20);
    delegate().defibrillate();  // the old timer must not beat at 30, nor the new one before its own 30
    host_->advance(29);
    EXPECT_EQ(syncs, 3);
    host_->advance(1);
    EXPECT_EQ(syncs, 4);
    EXPECT_EQ(fetches, syncs);
    EXPECT_TRUE(syncOnMain);
    EXPECT_FALSE(fetchOnMain);
}

TEST_F(LifecycleTest, TheAccountIsOfferedOnceInHalfAnHourUnlessALoginWasAskedFor) {
    startHost();
    std::vector<bool> offers;
    bool credentials = false;
    hooks().fetchRemoteInfo = [](bool, const std::function<void()>& completion) {
        if (completion) RunLoop::main().post(completion);
    };
    hooks().hasCredentials = [&] { return credentials; };
    hooks().showAccount = [&](const std::shared_ptr<Window>&, bool registration) { offers.push_back(registration); };

    delegate().applicationDidBecomeActive();
    host_->advance(1.2);
    EXPECT_THAT(offers, IsEmpty());
    host_->advance(0.1);
    EXPECT_THAT(offers, ElementsAre(true));
    host_->advance(1798);
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true));
    delegate().setShowLoginNextTime(true);
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, false));
    delegate().setShowLoginNextTime(false);
    host_->advance(1900);
    credentials = true;
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, false));
}

TEST_F(LifecycleTest, SavesInOrderWhenTheHostStepsBackAndWhenItEnds) {
    startHost();
    std::vector<std::string> saved;
    hooks().saveUser = [&] { saved.emplace_back("user"); };
    hooks().saveCoreData = [&] { saved.emplace_back("store"); };
    hooks().saveServices = [&] { saved.emplace_back("services"); };
    post(NSApplicationWillResignActiveNotification);
    EXPECT_THAT(saved, ElementsAre("user", "store", "services"));
    saved.clear();
    post(NSApplicationWillTerminateNotification);
    EXPECT_THAT(saved, ElementsAre("store", "services"));
    hooks() = {};
}

TEST_F(LifecycleTest, AfterLaunchingServicesSyncInThreeSecondsAndUpdatesAreLookedForInTen) {
    startHost();
    int syncs = 0;
    hooks().syncLinkedServices = [&] { ++syncs; };
    defaults().setObject(true, "QSUpdateBetaVersions");
    host_->settle();
    distributed_->posted.clear();
    post(MailApplicationDidFinishLaunchingNotification);
    host_->advance(2.9);
    EXPECT_EQ(syncs, 0);
    host_->advance(0.2);
    EXPECT_EQ(syncs, 1);
    host_->advance(6.5);
    EXPECT_TRUE(distributed_->posted.empty());
    host_->advance(0.5);
    ASSERT_EQ(distributed_->posted.size(), 1u);
    EXPECT_EQ(distributed_->posted[0].name, "com.apple.Mail.Quillstead.CheckForUpdates");
    EXPECT_EQ(distributed_->posted[0].userInfo, Value(Dictionary{{"QSUpdateIncludeBeta", true}}));
    auto standard = UserDefaults::suite("");
    EXPECT_EQ(standard->stringForKey("BitCrashMetaBundleIdentifier"), "com.tallowbay.Quillstead.mailbundle");
}

TEST_F(LifecycleTest, TheHelperIsStartedOnlyWhenItIsThereAndTheMessageGoesOutAnyway) {
    startHost();
    workspace_->helper = host_->dataFolder() / "no-such-helper";
    delegate().triggerHelperWithNotificationName("A", {});
    host_->settle();
    EXPECT_THAT(workspace_->launched, IsEmpty());
    EXPECT_EQ(distributed_->posted.back().name, "A");
}

TEST_F(LifecycleTest, MenuItemsStandWhereTheyBelongOnceWithTheShortcutsOfTheSettings) {
    startHost();
    delegate().initializePlugin();  // a second time
    auto mainMenu = host_->application().mainMenu();
    auto message = mainMenu->itemAtIndex(5)->submenu();
    auto titles = titlesOf(*message);
    EXPECT_EQ(std::vector(titles.begin() + 1, titles.begin() + 4),
              (std::vector<std::string>{"Send Later", "-", "Snooze"}));
    EXPECT_EQ(std::vector(titles.end() - 3, titles.end()),
              (std::vector<std::string>{"-", "Create quick note", "Create note"}));
    for (const auto& [tag, action] : {std::pair{4416, "createQuickNote:"},
                                      {4417, "createNoteWithDialog:"},
                                      {4419, "sendLater:"},
                                      {4420, "snooze:"}})
        EXPECT_EQ(message->itemWithTag(tag)->action(), action);
    auto help = titlesOf(*mainMenu->itemAtIndex(mainMenu->numberOfItems() - 1)->submenu());
    EXPECT_EQ(std::vector(help.end() - 4, help.end()),
              (std::vector<std::string>{"-", "Show Quillstead log file", "-", "Uninstall Quillstead"}));

    defaults().setObject(Dictionary{{"charactersIgnoringModifiers", "K"}, {"modifierFlags", (1 << 20) | (1 << 17)}},
                         "QSSnoozeShortcut");
    delegate().updateGlobalMenuItems();
    EXPECT_EQ(message->itemWithTag(4420)->keyEquivalent(), "k");
    EXPECT_EQ(message->itemWithTag(4420)->keyEquivalentModifierMask(), kCommandKey | kShiftKey);
    EXPECT_EQ(message->itemWithTag(4417)->keyEquivalent(), "n");
}

TEST_F(LifecycleTest, TheBadgeIsDrawnOnlyWhenItIsWanted) {
    startHost();
    const auto plain = host_->application().mainBundleImage("ApplicationIcon");
    defaults().setObject(true, "QSShowDockBadge");
    delegate().updateDockBadge();
    EXPECT_THAT(host_->application().applicationIconImage(), ::testing::HasSubstr("x=\"266.24\""));
    defaults().setObject(false, "QSShowDockBadge");
    delegate().updateDockBadge();
    EXPECT_EQ(host_->application().applicationIconImage(), plain);
}

TEST_F(LifecycleTest, TheListIsRedrawnAndKeepsItsSelectionOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        auto received = host_->receive("ada", "cy@example.org", "Hello", "Text");
        host_->viewer().selectMailbox(received->mailbox()->identifier());
        host_->viewer().selectIDs({received->libraryID()});
        delegate().refreshMessageList();
        host_->settle();
        EXPECT_THAT(host_->viewer().selectedIDs(), ElementsAre(received->libraryID())) << minor;
        ASSERT_NE(delegate().anchorViewForPopover(), nullptr) << minor;
        TearDown();
    }
    startHost();
}

}  // namespace
}  // namespace qs
