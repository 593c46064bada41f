// Start, heartbeat, activation, the account offer, and the end.
#include "Application/HostInstances.h"
#include "Application/MailApp.h"
#include "Core/Store/ManagedObjectContext.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Foundation/NotificationCenter.h"
#include "MainViewer.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PluginTest.h"
#include "Reminder/QSReminder.h"
#include "Viewer/MessageViewer.h"

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
    int fetchesOnMain = 0;
    bool syncOnMain = true;
    hooks().fetchRemoteInfo = [&](bool, const std::function<void()>&) {
        ++fetches;
        fetchesOnMain += RunLoop::main().isMainThread() ? 1 : 0;
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
    post(NSApplicationDidBecomeActiveNotification);  // the old timer must not beat at 30, nor the new one before its
                                                     // own 30
    host_->advance(29);
    EXPECT_EQ(syncs, 3);
    host_->advance(1);
    EXPECT_EQ(syncs, 4);
    EXPECT_EQ(fetches, syncs + 1) << "with each beat, and with the activation itself";
    EXPECT_TRUE(syncOnMain);
    EXPECT_EQ(fetchesOnMain, 1) << "the activation's; beats keep off the main thread";
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
    host_->advance(1.125);
    EXPECT_THAT(offers, IsEmpty());
    host_->advance(0.125);
    EXPECT_THAT(offers, ElementsAre(true));
    host_->advance(1797);
    delegate().applicationDidBecomeActive();
    host_->advance(1.75);  // exactly half an hour after the first
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true));
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, true)) << "the half hour is over";
    delegate().setShowLoginNextTime(true);
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, true, false)) << "asked for, it does not wait";
    delegate().setShowLoginNextTime(false);
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, true, false)) << "and counts as an offer";
    host_->advance(1900);
    credentials = true;
    delegate().applicationDidBecomeActive();
    delegate().setShowLoginNextTime(true);
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offers, ElementsAre(true, true, false)) << "there is nothing to log in to";
}

TEST_F(LifecycleTest, SavesInOrderWhenTheHostStepsBackAndWhenItEnds) {
    startHost();
    std::vector<std::string> saved;
    auto& store = delegate().managedObjectContext();
    const auto note = [&](const char* what) {
        saved.push_back(std::string(what) + (store.hasChanges() ? " before" : " after") + " the store");
    };
    hooks().saveUser = [&] { note("user"); };
    hooks().saveServices = [&] { note("services"); };
    store.insertNew<QSReminderList>()->setUniqueIdentifier("L1");
    post(NSApplicationWillResignActiveNotification);
    EXPECT_THAT(saved, ElementsAre("user before the store", "services after the store"));
    saved.clear();
    store.insertNew<QSReminderList>()->setUniqueIdentifier("L2");
    post(NSApplicationWillTerminateNotification);
    EXPECT_THAT(saved, ElementsAre("services after the store"));
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
    EXPECT_EQ(standard->stringForKey("BitCrashMetaApplicationVersion"), "1");
    EXPECT_EQ(standard->stringForKey("BitCrashMetaApplicationBuild"), "1");
}

TEST_F(LifecycleTest, TheCrashReporterKnowsAllBeforeItStarts) {
    crashReporter_ = std::make_shared<RecordingCrashReporter>();
    startHost();
    hooks().userName = [] { return std::optional<std::string>("Ada"); };
    hooks().userEmail = [] { return std::optional<std::string>(); };
    crashReporter_->told.clear();
    post(MailApplicationDidFinishLaunchingNotification);
    ASSERT_EQ(crashReporter_->told.size(), 6u);
    EXPECT_THAT(crashReporter_->told.front(), ::testing::ContainsRegex("^identifier [0-9a-f]{32}$"));
    EXPECT_EQ(std::vector(crashReporter_->told.begin() + 1, crashReporter_->told.end()),
              (std::vector<std::string>{"BitCrashMetaBundleIdentifier com.tallowbay.Quillstead.mailbundle",
                                        "BitCrashMetaApplicationVersion 1", "BitCrashMetaApplicationBuild 1",
                                        "name Ada", "start"}));
}

TEST_F(LifecycleTest, TheFirstActivationComesWithTheLaunchAndActivationsFetchUnhurriedly) {
    startHost();
    host_->settle();
    std::vector<bool> hurried;  // by calls on the main thread: those of the lifecycle, not the heartbeat's
    hooks().fetchRemoteInfo = [&](bool now, const std::function<void()>&) {
        if (RunLoop::main().isMainThread()) hurried.push_back(now);
    };
    post(MailApplicationDidFinishLaunchingNotification);
    EXPECT_THAT(hurried, ElementsAre(true, false));
    post(NSApplicationDidBecomeActiveNotification);
    EXPECT_THAT(hurried, ElementsAre(true, false, false));
    host_->settle();
    hooks() = {};
}

// Whatever was put off must not reach a plug-in that has gone.
TEST_F(LifecycleTest, NothingRunsAfterTheEnd) {
    startHost();
    int calls = 0;
    hooks().fetchRemoteInfo = [&](bool, const std::function<void()>& completion) {
        if (completion) RunLoop::main().post(completion);
    };
    hooks().showAccount = [&](const std::shared_ptr<Window>&, bool) { ++calls; };
    hooks().syncLinkedServices = [&] { ++calls; };
    hooks().syncTrackingPixels = [&] { ++calls; };
    post(MailApplicationDidFinishLaunchingNotification);  // services in 3 seconds, updates in 10, a beat now
    delegate().applicationDidBecomeActive();
    host_->settle();  // the account is about to be offered
    host_->application().openAddress("quillstead://login");
    calls = 0;
    distributed_->posted.clear();
    delegate().heartbeat();
    log_.clear();
    MailBundleUnload();
    post(NSApplicationDidBecomeActiveNotification);
    host_->advance(3600);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(distributed_->posted.empty());
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
}

TEST_F(LifecycleTest, APlugInThatCouldNotStartFreesWhatItMadeAndLeavesTheHostToItself) {
    host_ = std::make_unique<TemporaryHost>();
    // The superclass that the principal class is to have is its own subclass.
    NSClassFromString("MVMailBundle")->setSuperclass(&ClassRegistry::current().define("QSMailBundle"));
    auto bundle = Bundle::open(QS_PLUGIN_BUNDLE);
    ASSERT_TRUE(bundle);
    EXPECT_ANY_THROW(MailBundleLoad(*bundle));
    EXPECT_EQ(QSSession::currentIfLoaded(), nullptr);

    log_.clear();
    EXPECT_EQ(host_->application().contextualMenu()->itemWithTag(kTagSnooze), nullptr);
    host_->application().openAddress("quillstead://login");
    host_->composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
    host_->advance(31);
    EXPECT_EQ(host_->inboxOf("ben").size(), 1u);
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
}

TEST_F(LifecycleTest, TheHelperIsStartedOnlyWhenItIsThereAndTheMessageGoesOutAnyway) {
    startHost();
    struct Case {
        const char* why;
        std::filesystem::path helper;
        bool runs, launched;
    };
    const auto there = host_->dataFolder();
    for (const Case& c : {Case{"not installed", {}, false, false}, Case{"gone", there / "no-such-helper", false, false},
                          Case{"there", there, false, true}, Case{"there and running", there, true, false}}) {
        workspace_->helper = c.helper;
        workspace_->launched.clear();
        applications_->helperRuns = c.runs;
        distributed_->posted.clear();
        delegate().triggerHelperWithNotificationName("A", Dictionary{{"title", "T"}});
        host_->settle();
        // 512: without bringing it to the front.
        EXPECT_EQ(workspace_->launched, c.launched ? std::vector{there.string() + " 512"} : std::vector<std::string>())
            << c.why;
        ASSERT_EQ(distributed_->posted.size(), 1u) << c.why;
        EXPECT_EQ(distributed_->posted[0].name, "A") << c.why;
        EXPECT_EQ(distributed_->posted[0].userInfo["title"].stringValue(), "T") << c.why;
    }
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

    for (const auto& [tag, key] : {std::pair{4416, "q"}, {4417, "n"}, {4419, "d"}, {4420, "z"}}) {
        EXPECT_EQ(message->itemWithTag(tag)->keyEquivalent(), key);
        EXPECT_EQ(message->itemWithTag(tag)->keyEquivalentModifierMask(), kCommandKey | kOptionKey | kShiftKey);
    }
    const auto send = message->itemAtIndex(0);
    EXPECT_EQ(send->keyEquivalent(), "Enter") << "the host's items keep their keys";
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

// A table that loses its selection when it is loaded anew.
class ForgetfulTable : public TableView {
public:
    ForgetfulTable() : TableView("NSTableView") {}
    std::vector<std::string> steps;
    int row = 4;

    int selectedRow() const override { return row; }
    void reloadData() override {
        steps.emplace_back("reload");
        row = -1;
    }
    void selectRow(int toRow, bool byExtendingSelection) override {
        steps.push_back((byExtendingSelection ? "extend to " : "select ") + std::to_string(toRow));
        row = toRow;
    }
};

class ForgetfulTableManager : public TableViewManager {
public:
    ForgetfulTableManager() : TableViewManager("TableViewManager") {}
    std::shared_ptr<ForgetfulTable> table = std::make_shared<ForgetfulTable>();
    std::shared_ptr<TableView> tableView() const override { return table; }
};

TEST_F(LifecycleTest, TheListIsRedrawnAndKeepsItsSelectionOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        auto manager = std::make_shared<ForgetfulTableManager>();
        const Operation<std::shared_ptr<HostObject>()> mine("test_tableManager");
        const auto& theirs = minor == 11 ? message_viewer::tableViewManager : message_viewer::tableManager;
        Class& cls = *QSClassFromString(minor == 11 ? "MessageListController" : "MessageViewer");
        cls.add(mine, [manager](HostObject&) { return std::static_pointer_cast<HostObject>(manager); });
        ASSERT_TRUE(cls.jr_swizzleMethod(theirs.selector(), mine.selector())) << minor;
        delegate().refreshMessageList();
        EXPECT_THAT(manager->table->steps, ElementsAre("reload", "select 4")) << minor;
        TearDown();
    }
    startHost();
}

// As the host's, without a place for a title.
class UntitledViewer : public MessageViewer {
public:
    explicit UntitledViewer(std::shared_ptr<Toolbar> toolbar)
        : MessageViewer("MessageViewer"), toolbar_(std::move(toolbar)) {}
    std::shared_ptr<Window> window() const override { return nullptr; }
    std::shared_ptr<Toolbar> toolbar() const override { return toolbar_; }
    MessageList selectedMessages() const override { return {}; }
    MessageList messagesTargetedByAction(std::string_view) const override { return {}; }
    std::shared_ptr<Mailbox> mailbox() const override { return nullptr; }
    Result<void> transferMessages(const MessageList&, Mailbox&, TransferOptions) override { return {}; }
    void sendForDraft(HostObject*, bool, MessageRef) override {}

private:
    std::shared_ptr<Toolbar> toolbar_;
};

TEST_F(LifecycleTest, PopoversPointAtTheFirstToolbarItemOfAViewerWithoutATitle) {
    startHost();
    const auto menuBar = delegate().menuController().menubarView();
    ASSERT_NE(menuBar, nullptr);
    const auto toolbar = host_->viewer().toolbar();
    ASSERT_FALSE(toolbar->visibleItems().empty());
    ASSERT_NE(toolbar->visibleItems().front()->view(), nullptr);
    std::shared_ptr<MessageViewer> viewer = std::make_shared<UntitledViewer>(toolbar);
    HostInstances::current().frontmostViewer = [&] { return viewer; };
    EXPECT_EQ(delegate().anchorViewForPopover(), toolbar->visibleItems().front()->view());
    viewer = std::make_shared<UntitledViewer>(std::make_shared<Toolbar>("empty"));
    EXPECT_EQ(delegate().anchorViewForPopover(), menuBar);
    viewer = std::make_shared<UntitledViewer>(nullptr);
    EXPECT_EQ(delegate().anchorViewForPopover(), menuBar);
}

TEST_F(LifecycleTest, PopoversPointAtTheViewerElseAtTheMenuBar) {
    startHost();
    auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0);
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(delegate().anchorViewForPopover(), viewer->window()->titleView());
    HostInstances::current().frontmostViewer = [] { return std::shared_ptr<MessageViewer>(); };
    EXPECT_EQ(delegate().anchorViewForPopover(), delegate().menuController().menubarView());
    defaults().setObject(false, "QSShowMenuBar");
    delegate().menuController().updateMenuVisibility();
    EXPECT_EQ(delegate().anchorViewForPopover(), nullptr);
    delegate().refreshMessageList();  // nothing to redraw

    std::vector<std::shared_ptr<Window>> offeredOn;
    hooks().fetchRemoteInfo = [](bool, const std::function<void()>& completion) {
        if (completion) RunLoop::main().post(completion);
    };
    hooks().hasCredentials = [] { return false; };
    hooks().showAccount = [&](const std::shared_ptr<Window>& window, bool) { offeredOn.push_back(window); };
    delegate().applicationDidBecomeActive();
    host_->advance(2);
    EXPECT_THAT(offeredOn, ElementsAre(nullptr));
}

}  // namespace
}  // namespace qs
