// What the plug-in adds to the application: addresses, contextual menu, log file, uninstalling, the preference pane.
#include <algorithm>

#include "Application/Preferences.h"
#include "ComposeWindow.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "MainViewer.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Popover.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PluginTest.h"
#include "PreferencesWindow.h"
#include "SystemFacts/ProcessInfo.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ApplicationTest : public PluginTest {
protected:
    void choose(std::string_view action) { host_->application().sendAction(action, nullptr, nullptr); }
    // Presses a button of the alert that is about to be shown.
    void answerNextAlert(int button) {
        RunLoop::main().post([this, button] {
            const auto& shown = AlertCentre::shared().shown();
            ASSERT_EQ(shown.size(), 1u);
            alertTitle_ = shown.front()->messageText;
            AlertCentre::shared().answer(shown.front()->identifier, button, false);
        });
    }
    std::string alertTitle_;
};

TEST_F(ApplicationTest, RedirectsReachTheServicesThatWaitAndNoOthers) {
    startHost();
    struct Case {
        const char* why;
        const char* url;
        bool linked, linking;
        std::vector<std::string> codes;
        int type;
    };
    for (const Case& c : std::vector<Case>{
             {"a code for one that waits", "quillstead://box-redirect?code=abc&state=x", false, true, {"abc"}, 6},
             {"the scheme in capitals", "QUILLSTEAD://todoist-redirect?code=abc", false, true, {"abc"}, 21},
             {"decoded on both sides", "quillstead://asana-redirect?co%64e=a%2Fb%20c", false, true, {"a/b c"}, 22},
             {"only up to the second equals sign", "quillstead://onedrive-redirect?code=a=b", false, true, {"a"}, 19},
             {"no code", "quillstead://onenote-redirect?error=denied", false, true, {}, 18},
             {"not ASCII", "quillstead://box-redirect?code=%C3%A4", false, true, {}, 6},
             {"not waiting", "quillstead://wunderlist-redirect?code=abc", false, false, {}, 20},
             {"linked already", "quillstead://box-redirect?code=abc", true, true, {}, 6},
             {"unknown host", "quillstead://elsewhere?code=abc", false, true, {}, 0},
             {"an escape cut off", "quillstead://box-redirect?code=a%2", false, true, {}, 6}}) {
        std::vector<std::string> codes;
        int asked = 0;
        hooks().redirectTargets = [&](int type) {
            asked = type;
            QSRedirectTarget target{.linked = c.linked, .linking = c.linking, .authenticateWithCode = {}};
            target.authenticateWithCode = [&codes](const std::string& code) { codes.push_back(code); };
            return std::vector{target, QSRedirectTarget{}};
        };
        host_->application().openAddress(c.url);
        host_->settle();
        EXPECT_EQ(codes, c.codes) << c.why;
        EXPECT_EQ(asked, c.type) << c.why;
    }
}

TEST_F(ApplicationTest, TheLoginAddressShowsTheAccountAndOtherSchemesStayWithTheHost) {
    startHost();
    const auto front = host_->compose("ada", "", "", "");
    std::vector<bool> shown;
    hooks().showAccount = [&](const std::shared_ptr<Window>& window, bool registration) {
        EXPECT_EQ(window, front->window()) << "the window in front, not the viewer's";
        shown.push_back(registration);
    };
    host_->application().openAddress("quillstead://login");
    host_->advance(0.29);
    EXPECT_THAT(shown, IsEmpty());
    host_->advance(0.02);
    EXPECT_THAT(shown, ElementsAre(false));
    host_->application().openAddress("mailto:ben@example.org?subject=Hi");
    host_->settle();
    EXPECT_EQ(host_->application().composeWindows().size(), 2u);
}

TEST_F(ApplicationTest, TheContextualMenuHasUndoInTheOutboxOnlyAndSnoozeEverywhere) {
    startHost({.startDeliveries = false});
    host_->composeAndSend("ada", "ben@example.org", "Waiting", "Text");
    auto& library = host_->library();
    for (const bool outbox : {true, false}) {
        auto mailbox = library.mailbox("ada", outbox ? MailboxKind::Outbox : MailboxKind::Sent, true);
        host_->viewer().selectMailbox(mailbox->identifier());
        auto menu = host_->application().contextualMenu();
        auto undo = menu->itemWithTag(kTagUndoSend);
        EXPECT_EQ(undo != nullptr, outbox);
        if (undo) {
            EXPECT_EQ(menu->itemAtIndex(1), undo);
            EXPECT_EQ(undo->action(), "undoSend:");
        }
        auto snooze = menu->itemArray().back();
        EXPECT_EQ(snooze->tag(), kTagSnooze);
        EXPECT_EQ(snooze->title(), "Snooze");
        EXPECT_TRUE(menu->itemAtIndex(menu->numberOfItems() - 2)->isSeparatorItem());
    }
    hooks().isSnoozeMailbox = [](const Mailbox&) { return true; };
    auto snooze = host_->application().contextualMenu()->itemWithTag(kTagSnooze);
    EXPECT_EQ(snooze->title(), "Unsnooze");
    EXPECT_EQ(snooze->action(), "unsnooze:");
}

TEST_F(ApplicationTest, TheProgramComesToTheFrontForItsOwnAddressesAsFarAsTheyMeanSomething) {
    startHost();
    int activations = 0;
    host_->application().setPageRequestHandler(
        [&](std::string_view what, std::string_view) { activations += what == "focus" ? 1 : 0; });
    hooks().redirectTargets = [](int) {
        QSRedirectTarget target{.linked = false, .linking = true, .authenticateWithCode = [](const std::string&) {}};
        // Two that wait, one that is linked already, one whose worker takes no code.
        return std::vector{target, target,
                           QSRedirectTarget{.linked = true, .linking = true, .authenticateWithCode = {}},
                           QSRedirectTarget{.linked = false, .linking = true, .authenticateWithCode = {}}};
    };
    for (const auto& [url, expected] : {std::pair{"quillstead://box-redirect?code=abc", 2},
                                        {"quillstead://box-redirect?error=denied", 0},
                                        {"quillstead://elsewhere", 1},
                                        {"quillstead:", 1},
                                        {"db-q4n8r2w6t0y5m1k://1/connect", 1},
                                        {"db-another://1/connect", 0},
                                        {"no address", 0}}) {
        activations = 0;
        host_->application().openAddress(url);
        host_->settle();
        EXPECT_EQ(activations, expected) << url;
    }
}

TEST_F(ApplicationTest, AMenuShownAgainChangesItsItemsAndGetsNoOthers) {
    startHost({.startDeliveries = false});
    auto& library = host_->library();
    auto menu = std::make_shared<Menu>();
    auto options = std::make_shared<Menu>();
    hooks().snoozeOptionsMenu = [&] { return options; };
    bool snoozed = false;
    hooks().isSnoozeMailbox = [&](const Mailbox&) { return snoozed; };
    auto show = [&](MailboxKind kind) {
        host_->viewer().selectMailbox(library.mailbox("ada", kind, true)->identifier());
        mail_app::willPresentContextualMenu(host_->application(), *menu);
    };
    menu->addItemWithTitle("Reply", "replyMessage:", "");
    menu->addItemWithTitle("Forward", "forwardMessage:", "");
    show(MailboxKind::Outbox);
    EXPECT_EQ(menu->numberOfItems(), 5u);  // and Undo Send, a separator, Snooze
    EXPECT_EQ(menu->itemAtIndex(1)->tag(), kTagUndoSend);
    show(MailboxKind::Outbox);
    EXPECT_EQ(menu->numberOfItems(), 5u);
    auto snooze = menu->itemWithTag(kTagSnooze);
    EXPECT_EQ(snooze->submenu(), options);
    snoozed = true;
    show(MailboxKind::Inbox);
    EXPECT_EQ(menu->numberOfItems(), 4u);
    EXPECT_EQ(menu->itemWithTag(kTagUndoSend), nullptr);
    EXPECT_EQ(menu->itemWithTag(kTagSnooze), snooze);
    EXPECT_EQ(snooze->submenu(), nullptr);
    snoozed = false;
    show(MailboxKind::Inbox);
    EXPECT_EQ(snooze->title(), "Snooze");
    EXPECT_EQ(snooze->submenu(), options);
}

TEST_F(ApplicationTest, TheLogFileIsOpenedWhenThereIsOne) {
    startHost();
    logInfo("a line, so that there is a file");
    choose("showQuillsteadLogFile:");
    ASSERT_EQ(workspace_->openedFiles.size(), 1u);
    EXPECT_THAT(workspace_->openedFiles[0], ::testing::HasSubstr("Quillstead"));
    std::filesystem::remove(workspace_->openedFiles[0]);
    int beeps = 0;
    setBeepHandler([&] { ++beeps; });
    choose("showQuillsteadLogFile:");
    setBeepHandler({});
    // The complaint itself may have made a new file; what counts is that nothing was opened.
    EXPECT_EQ(workspace_->openedFiles.size(), 1u);
    EXPECT_EQ(beeps, 1);
    EXPECT_TRUE(log_.contains("Could not find valid log file."));
}

TEST_F(ApplicationTest, WithoutAFileLoggerThereIsABeepAndALine) {
    startHost();
    for (const auto& logger : DDLog::allLoggers())
        if (std::dynamic_pointer_cast<DDFileLogger>(logger)) DDLog::removeLogger(logger);
    int beeps = 0;
    setBeepHandler([&] { ++beeps; });
    choose("showQuillsteadLogFile:");
    setBeepHandler({});
    EXPECT_THAT(workspace_->openedFiles, IsEmpty());
    EXPECT_EQ(beeps, 1);
    EXPECT_TRUE(log_.contains("Could not find valid file logger for requested log file."));
}

TEST_F(ApplicationTest, AFaultIsReportedOnTheMakersPage) {
    startHost();
    choose("reportQuillsteadBug:");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(1));
    EXPECT_THAT(workspace_->openedUrls[0], ::testing::EndsWith("/issues/new"));
}

TEST_F(ApplicationTest, UninstallingAsksAndThenLeavesNothingBehind) {
    startHost();
    const auto store = Platform::current().processInfo->documentsFolder() / "QuillsteadData.sqlite";
    (void)delegate().managedObjectContext();
    const auto isThere = [&](const char* side) {
        return std::filesystem::exists(std::filesystem::path(store).concat(side));
    };
    ASSERT_TRUE(isThere("") && isThere("-wal"));
    std::vector<std::string> steps;
    hooks().unlinkAllServices = [&] { steps.emplace_back("services"); };
    hooks().userEmail = [] { return std::optional<std::string>("ada@example.org"); };
    hooks().removeKeychainItem = [&](const std::string& email) { steps.push_back(email); };
    defaults().setObject(45, "QSSendDelaySeconds");
    const auto settingsOnDisk = [this] {
        const auto file = host_->dataFolder() / "Settings" / "com.tallowbay.Quillstead.plist";
        return parsePropertyList(FileSystem::real().read(file).value_or("")).value_or(Value()).dictionary();
    };
    ASSERT_TRUE(defaults().synchronize());
    ASSERT_TRUE(settingsOnDisk().contains("QSSendDelaySeconds"));
    int announcements = 0;
    const Operation<void()> announced("test_contactPhotoPreferenceChanged");
    Class& viewer = *NSClassFromString("ViewerPreferences");
    viewer.addClassMethod(announced, [&](Class&) {
        EXPECT_FALSE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));
        ++announcements;
    });
    ASSERT_TRUE(viewer.jr_swizzleClassMethod(viewer_preferences::postContactPhotoPreferenceChanged.selector(),
                                             announced.selector()));
    ASSERT_TRUE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));

    answerNextAlert(2);
    choose("uninstallQuillstead:");
    EXPECT_EQ(alertTitle_, "Uninstall Quillstead");
    answerNextAlert(0);
    choose("uninstallQuillstead:");
    ASSERT_EQ(workspace_->openedUrls.size(), 1u);
    EXPECT_THAT(workspace_->openedUrls[0], ::testing::EndsWith("/support"));
    EXPECT_TRUE(isThere(""));
    EXPECT_EQ(announcements, 0);
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 45);
    EXPECT_THAT(steps, IsEmpty());

    answerNextAlert(1);
    choose("uninstallQuillstead:");
    host_->settle();
    EXPECT_THAT(steps, ElementsAre("services", "ada@example.org"));
    EXPECT_TRUE(defaults().setValues().empty());
    EXPECT_THAT(settingsOnDisk(), IsEmpty()) << "at once, not when the program ends";
    EXPECT_FALSE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));
    EXPECT_EQ(announcements, 1);
    for (const char* side : {"", "-wal", "-shm"})
        EXPECT_FALSE(isThere(side)) << side;
    delegate().saveCoreData();
    EXPECT_FALSE(isThere("")) << "nothing brings the store back";
    ASSERT_FALSE(distributed_->posted.empty());
    EXPECT_EQ(distributed_->posted.back().name, "com.apple.Mail.Quillstead.Uninstall");
    EXPECT_TRUE(distributed_->posted.back().userInfo.isNil());
}

class PreferencePaneTest : public ApplicationTest {
protected:
    std::shared_ptr<FormModel> pane() {
        host_->application().preferences().show("Quillstead");
        return host_->application().preferences().form();
    }
};

TEST_F(PreferencePaneTest, ThePaneIsAddedOnceAndStoresWhatIsChanged) {
    startHost();
    host_->application().showPreferencesPanel(nullptr);
    host_->advance(1);
    auto names = [this] {
        std::vector<std::string> result;
        for (const auto& module : host_->application().preferences().modules())
            result.push_back(module.name);
        return result;
    };
    EXPECT_EQ(std::ranges::count(names(), "Quillstead"), 1);
    host_->application().showPreferencesPanel(nullptr);
    EXPECT_EQ(std::ranges::count(names(), "Quillstead"), 1);

    ASSERT_NE(pane(), nullptr);
    host_->application().preferences().setValue("QSSendDelaySeconds", 75);
    EXPECT_EQ(defaults().integerForKey("QSSendDelaySeconds"), 75);
    ASSERT_NE(pane()->control("QSSendDelaySeconds"), nullptr);
    EXPECT_EQ(pane()->control("QSSendDelaySeconds")->value.integerValue(), 75);
    EXPECT_EQ(pane()->control("QSUpdateBetaVersions"), nullptr);
    defaults().setObject(true, "QSEnableBetaUpdatesOption");
    EXPECT_NE(pane()->control("QSUpdateBetaVersions"), nullptr);
}

TEST_F(PreferencePaneTest, TheFirstLookAtThePreferencesPointsThePaneOut) {
    startHost();
    auto& preferences = host_->application().preferences();
    auto items = [&] { return preferences.preferencesPanel()->toolbar()->items(); };
    auto paneItems = [&] {
        return std::ranges::count(items(), "Quillstead", [](const auto& item) { return item->itemIdentifier(); });
    };
    EXPECT_EQ(paneItems(), 0);
    host_->application().showPreferencesPanel(nullptr);
    EXPECT_EQ(paneItems(), 1);
    host_->advance(0.4);
    EXPECT_THAT(Popover::allShown(), IsEmpty());
    host_->advance(0.2);
    ASSERT_THAT(Popover::allShown(), SizeIs(1));
    const Popover& hint = *Popover::allShown()[0];
    EXPECT_EQ(hint.identifier(), "Preferences");
    EXPECT_EQ(hint.content.text, "Configure Quillstead according to your personal preferences.");
    EXPECT_EQ(hint.positioningView(), items().back()->view());
    EXPECT_EQ(hint.preferredEdge(), 1);
    EXPECT_EQ(items().back()->itemIdentifier(), "Quillstead");
    EXPECT_EQ(items().back()->visibilityPriority, 1000);
    preferences.close();
    host_->application().showPreferencesPanel(nullptr);
    host_->advance(1);
    EXPECT_EQ(paneItems(), 1);
    EXPECT_THAT(Popover::allShown(), IsEmpty()) << "it closed with the preferences, and once is enough";

    preferences.show("General");
    choose("showQuillsteadPreferences:");
    EXPECT_EQ(preferences.selectedModule(), "Quillstead");
}

TEST_F(PreferencePaneTest, CheckingForUpdatesShowsADialogAndNamesTheChannel) {
    startHost();
    defaults().setObject(true, "QSUpdateBetaVersions");
    ASSERT_NE(pane(), nullptr);
    distributed_->posted.clear();
    host_->application().preferences().setValue("checkForUpdates", {});
    host_->settle();
    ASSERT_EQ(distributed_->posted.size(), 1u);
    EXPECT_EQ(distributed_->posted[0].name, "com.apple.Mail.Quillstead.CheckForUpdates");
    EXPECT_EQ(distributed_->posted[0].userInfo,
              Value(Dictionary{{"QSUpdateShowDialog", true}, {"QSUpdateIncludeBeta", true}}));
}

TEST_F(PreferencePaneTest, TurningAutomaticUpdatesOffAsksFirst) {
    startHost();
    defaults().setObject(true, "QSEnableAutomaticUpdates");
    for (const auto& [button, kept] : {std::pair{1, true}, {0, false}}) {
        distributed_->posted.clear();
        ASSERT_NE(pane(), nullptr);
        answerNextAlert(button);
        host_->application().preferences().setValue("QSEnableAutomaticUpdates", false);
        host_->settle();
        EXPECT_EQ(alertTitle_, "Confirm Disabling of Automatic Updates");
        EXPECT_EQ(defaults().boolForKey("QSEnableAutomaticUpdates"), kept);
        ASSERT_EQ(distributed_->posted.size(), 1u);
        EXPECT_EQ(distributed_->posted[0].userInfo["QSUpdateAutoUpdate"].boolValue(), kept);
        EXPECT_EQ(distributed_->posted[0].userInfo["QSUpdateShowDialog"].isNil(), true);
    }
}

}  // namespace
}  // namespace qs
