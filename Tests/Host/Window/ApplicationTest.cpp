#include "Application/HostInstances.h"
#include "Application/Preferences.h"
#include "DeliveryService.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "HostSettings.h"
#include "MailEngine.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PreferencesWindow.h"
#include "Responders.h"
#include "Settings/UserDefaults.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ApplicationTest : public WindowJourney {
protected:
    void observe(std::string_view name) {
        observations_.push_back(NotificationCenter::defaultCenter().addObserver(
            std::string(name), [this](const Notification& notification) { posted_.push_back(notification.name); }));
    }
    std::vector<std::string> posted_;
    std::vector<ObservationRef> observations_;
};

TEST_F(ApplicationTest, LifeIsToldInOrderAndNothingTwice) {
    observe(NSApplicationDidBecomeActiveNotification);
    observe(NSApplicationWillResignActiveNotification);
    observe(NSApplicationWillTerminateNotification);
    observe(MailApplicationDidFinishLaunchingNotification);
    start();
    MailApplication& application = host->application();
    application.finishLaunching();
    application.setActive(false);
    application.setActive(true);
    application.setActive(true);
    EXPECT_TRUE(application.isActive());
    application.setActive(false);
    application.setActive(true);
    application.terminate();
    application.terminate();
    application.setActive(false);
    EXPECT_THAT(posted_,
                ElementsAre(MailApplicationDidFinishLaunchingNotification, NSApplicationDidBecomeActiveNotification,
                            NSApplicationWillResignActiveNotification, NSApplicationDidBecomeActiveNotification,
                            NSApplicationWillTerminateNotification));
}

TEST_F(ApplicationTest, EndingSavesWhatIsBeingWrittenBeforeItIsTold) {
    start();
    host->compose("ada", "ben@example.org", "", "So far")->update({.subject = "Half written"});
    std::vector<std::string> draftsWhenTold;
    observations_.push_back(NotificationCenter::defaultCenter().addObserver(
        std::string(NSApplicationWillTerminateNotification),
        [&](const Notification&) { draftsWhenTold = subjectsOf("ada", MailboxKind::Drafts); }));
    host->restart();
    EXPECT_THAT(draftsWhenTold, ElementsAre("Half written"));
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Drafts), ElementsAre("Half written"));
    EXPECT_THAT(host->application().composeWindows(), IsEmpty());
}

TEST_F(ApplicationTest, WithoutAnyPlugInItIsAPlainMailProgram) {
    for (int minor : {10, 11, 12}) {
        start({.osMinor = minor});
        EXPECT_EQ(MailApp::shared().get(), &host->application());
        EXPECT_EQ(MessageViewer::frontmostMessageViewerWithOptions(0).get(), &host->viewer());
        host->composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
        host->advance(60);
        EXPECT_THAT(subjectsOf("ben", MailboxKind::Inbox), ElementsAre("Minutes")) << minor;
        EXPECT_THAT(subjectsOf("ada", MailboxKind::Outbox), IsEmpty()) << minor;
        EXPECT_THAT(host->application().notices(), IsEmpty()) << minor;
    }
    host.reset();
    EXPECT_EQ(MailApp::shared(), nullptr) << "a host that has gone leaves nothing behind";
    EXPECT_EQ(MessageViewer::frontmostMessageViewerWithOptions(0), nullptr);
}

TEST_F(ApplicationTest, WithoutAnAccountItStandsEmpty) {
    start({.noAccounts = true});
    EXPECT_EQ(host->viewer().mailbox(), nullptr);
    EXPECT_THAT(subjects(), IsEmpty());
    EXPECT_FALSE(isEnabled("File", "New Message"));
    EXPECT_FALSE(isEnabled("File", "New Mailbox…"));
    choose("Mailbox", "Inbox");
    EXPECT_EQ(host->application().outbox()->messageCount(), 0);
}

TEST_F(ApplicationTest, TheOutboxIsThatOfAllAccounts) {
    start({.startDeliveries = false});
    host->composeAndSend("ada", "ben@example.org", "From Ada", "Text.");
    host->composeAndSend("ben", "ada@example.org", "From Ben", "Text.");
    const auto outbox = host->application().outbox();
    EXPECT_EQ(outbox->messageCount(), 2);
    std::vector<std::string> found;
    for (const MessageRef& message : host->library().messagesMatchingCriterion(outbox->criterion(), 0, kSearchStore))
        found.push_back(message->subject());
    EXPECT_THAT(found, testing::UnorderedElementsAre("From Ada", "From Ben"));
}

TEST_F(ApplicationTest, TheWindowInFrontIsTheOneThatCameLast) {
    start();
    MailApplication& application = host->application();
    const auto front = [&] { return application.mainWindow()->identifier(); };
    EXPECT_EQ(front(), "viewer");
    const auto first = host->compose("ada", "", "1", ""), second = host->compose("ada", "", "2", "");
    EXPECT_EQ(front(), second->window()->identifier());
    application.bringToFront(first->window()->identifier());
    EXPECT_EQ(front(), first->window()->identifier());
    ASSERT_TRUE(choose("Window", "Next Window"));
    EXPECT_EQ(front(), second->window()->identifier());
    ASSERT_TRUE(choose("Window", "Next Window"));
    EXPECT_EQ(front(), "viewer");
    isEnabled("Window", "1");
    EXPECT_TRUE(choose("Window", "1")) << "each window has an item";
    EXPECT_EQ(front(), first->window()->identifier());
    first->close(ComposeWindow::Closing::Discard);
    second->close(ComposeWindow::Closing::Discard);
    host->settle();
    EXPECT_EQ(front(), "viewer");
    EXPECT_EQ(item("Window", "1"), nullptr);
}

TEST_F(ApplicationTest, NoticesStandOnceUntilTheyAreDismissed) {
    start();
    MailApplication& application = host->application();
    for (const char* text : {"First.", "Second.", "First.", ""})
        application.addNotice(text);
    ASSERT_THAT(application.notices(), SizeIs(2));
    application.dismissNotice(application.notices()[0].id);
    ASSERT_THAT(application.notices(), SizeIs(1));
    EXPECT_EQ(application.notices()[0].text, "Second.");
    for (int i = 0; i < 100; ++i)
        application.addNotice("Notice " + std::to_string(i));
    EXPECT_LT(application.notices().size(), 30u) << "a fault that repeats must not fill the page";
    EXPECT_EQ(application.notices().back().text, "Notice 99");
}

TEST_F(ApplicationTest, AFailedDeliveryIsToldInTheWordsOfWhoKnows) {
    start();
    NotificationCenter::defaultCenter().post("MailDeliveryDidFail", nullptr,
                                             Dictionary{{"text", "“Minutes” could not be sent."}});
    ASSERT_THAT(host->application().notices(), SizeIs(1));
    EXPECT_EQ(host->application().notices()[0].text, "“Minutes” could not be sent.");
}

TEST_F(ApplicationTest, AMessageStaysSelectedThroughAnAttemptThatFails) {
    start();
    for (const char* subject : {"Minutes", "Report"})
        host->composeAndSend("ada", "nobody@nowhere.example", subject, "Text.");
    host->viewer().selectMailbox("ada/Outbox");
    const auto waiting = host->messagesOf("ada", MailboxKind::Outbox);
    ASSERT_THAT(waiting, SizeIs(2));
    host->viewer().selectIDs({waiting[0].id});
    ASSERT_TRUE(host->engine().deliveries().tryNow(waiting[0].uniqueID));
    host->settle();
    const auto selected = host->viewer().selectedMessage();
    ASSERT_TRUE(selected);
    EXPECT_EQ(selected->subject(), waiting[0].subject);
    EXPECT_EQ(host->engine().deliveries().status(selected->libraryID()).attempts, 2);
}

TEST_F(ApplicationTest, WhatWasSaidOfAMessageThatWaitsGoesWhenItWaitsNoMore) {
    start();
    const auto tell = [](const char* text, const std::string& waiting) {
        NotificationCenter::defaultCenter().post("MailDeliveryDidFail", nullptr,
                                                 Dictionary{{"text", text}, {"waiting", waiting}});
    };
    for (const char* subject : {"Minutes", "Report"})
        host->composeAndSend("ada", "nobody@nowhere.example", subject, "Text.");
    tell("Something else.", {});
    const auto texts = [&] {
        std::string all;
        for (const Notice& notice : host->application().notices())
            all += notice.text.substr(0, notice.text.find('.')) + "|";
        return all;
    };
    EXPECT_EQ(texts(), "“Minutes” could not be sent|“Report” could not be sent|Something else|");
    host->advance(3600);
    EXPECT_EQ(texts(), "“Minutes” could not be sent|“Report” could not be sent|Something else|") << "they still wait";
    for (const auto& message : host->messagesOf("ada", MailboxKind::Outbox))
        if (message.subject == "Minutes") {
            EXPECT_TRUE(host->viewer().moveTo({message.id}, "ada/Drafts"));
        }
    host->settle();
    EXPECT_EQ(texts(), "“Report” could not be sent|Something else|");
}

TEST_F(ApplicationTest, QuittingWithMailThatWaitsIsAskedAbout) {
    start({.startDeliveries = false});
    int quits = 0;
    host->application().setQuitHandler([&] { ++quits; });
    choose("Quillstead Mail", "Quit Quillstead Mail");
    EXPECT_EQ(quits, 1) << "nothing waits, nothing is asked";
    host->composeAndSend("ada", "ben@example.org", "Held", "Text.");
    alerts->seen.clear();
    alerts->give("Cancel");
    choose("Quillstead Mail", "Quit Quillstead Mail");
    EXPECT_EQ(quits, 1);
    alerts->give("Quit");
    choose("Quillstead Mail", "Quit Quillstead Mail");
    EXPECT_EQ(quits, 2);
    EXPECT_THAT(alerts->seen, ElementsAre("A message has not been sent yet", "A message has not been sent yet"));
}

TEST_F(ApplicationTest, TheMenuMakesAMailboxAndShowsIt) {
    start();
    choose("File", "New Mailbox…");
    const auto window = host->viewer().window();
    const auto sheet = window->currentSheet();
    ASSERT_NE(sheet, nullptr);
    FormControl* name = sheet->control("name");
    ASSERT_NE(name, nullptr);
    name->onChange("  Projects ");
    window->endSheet(*sheet, kSheetConfirmed);
    host->settle();
    ASSERT_NE(host->viewer().mailbox(), nullptr);
    EXPECT_EQ(host->viewer().mailbox()->displayName(), "Projects");
    EXPECT_NE(item("Message", "Projects"), nullptr);

    choose("File", "New Mailbox…");
    window->endSheet(*window->currentSheet(), kSheetConfirmed);  // without a name
    host->settle();
    ASSERT_NE(window->currentSheet(), nullptr) << "asked again";
    EXPECT_NE(window->currentSheet()->control("name")->error, "");
}

TEST_F(ApplicationTest, WhatOnlyThePageCanDoIsAskedOfIt) {
    start();
    std::vector<std::string> asked;
    host->application().setPageRequestHandler(
        [&](std::string_view what, std::string_view window) { asked.push_back(std::string(what) + " " += window); });
    select(receive(1));
    choose("Edit", "Find…");
    choose("Edit", "Emoji & Symbols");
    choose("View", "Message Source");
    choose("File", "Print…");
    EXPECT_THAT(asked, ElementsAre("find viewer", "characterPalette viewer", "source viewer", "print viewer"));
}

TEST_F(ApplicationTest, AddressesOfTheDesktopGoThroughTheRuntime) {
    start();
    std::vector<std::string> taken;
    const Operation<void(const AppleEvent& event, AppleEvent* reply)> patched{"quillstead_handleGURLAppleEvent:"};
    Class& application = *NSClassFromString("MailApp");
    application.add(patched, [&](HostObject& self, const AppleEvent& event, AppleEvent* reply) {
        const std::string url = event.stringForKeyword(kKeyDirectObject);
        if (url.starts_with("quillstead:"))
            taken.push_back(url);
        else
            patched(self, event, reply);
    });
    ASSERT_TRUE(application.jr_swizzleMethod(mail_app::handleGURLAppleEvent.selector(), patched.selector()));
    host->application().openAddress("quillstead://login");
    host->application().openAddress("mailto:ben@example.org?subject=Hello");
    host->application().openAddress("gopher://example.org/?token=s3cr3t");
    host->settle();
    EXPECT_THAT(taken, ElementsAre("quillstead://login"));
    ASSERT_THAT(host->application().composeWindows(), SizeIs(1));
    EXPECT_EQ(host->application().composeWindows()[0]->subject(), "Hello");
    EXPECT_TRUE(log.contains("gopher:"));
    EXPECT_FALSE(log.contains("s3cr3t")) << "what follows the scheme may be secret";
}

TEST_F(ApplicationTest, AProgramThatEndsUnwindsItsQuestions) {
    start();
    const auto ids = receive(1);
    select(ids);
    choose("Message", "Move to Trash");
    alerts.reset();  // nobody answers from here on
    host->loop().post([&] { host->loop().stop(); });
    choose("Mailbox", "Empty Trash…");
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Trash), ElementsAre("1")) << "stopping is no consent";
    EXPECT_THAT(AlertCentre::shared().shown(), IsEmpty());
}

class PreferencesTest : public ApplicationTest {
protected:
    PreferencesWindow& preferences() { return host->application().preferences(); }
    std::vector<std::string> modules() {
        std::vector<std::string> names;
        for (const auto& module : preferences().modules())
            names.push_back(module.name);
        return names;
    }
    std::vector<std::string> toolbarItems() {
        std::vector<std::string> items;
        for (const auto& item : preferences().preferencesPanel()->toolbar()->items())
            items.push_back(item->itemIdentifier());
        return items;
    }
};

class PaneOfAPlugIn : public PreferencesModule {
public:
    PaneOfAPlugIn() : PreferencesModule("NSPreferencesModule") {}
    std::string imageName() const override { return "plugin:Pane"; }
    std::shared_ptr<FormModel> form() override {
        ++formsAsked;
        auto form = std::make_shared<FormModel>();
        form->identifier = "Pane";
        FormControl control{.kind = FormControl::Kind::CheckBox, .id = "switch"};
        control.value = on;
        control.onChange = [this](const Value& value) { on = value.boolValue(); };
        FormControl locked = control;
        locked.id = "locked";
        locked.enabled = false;
        form->groups.push_back({.controls = {control, locked}});
        return form;
    }
    bool on = false;
    int formsAsked = 0;
};

TEST_F(PreferencesTest, APlugInAddsItsPaneWhenTheyAreFirstAskedFor) {
    start();
    const auto pane = std::make_shared<PaneOfAPlugIn>();
    const Operation<std::shared_ptr<Preferences>()> patched{"quillstead_sharedPreferences"};
    Class& cls = *NSClassFromString("NSPreferences");
    cls.addClassMethod(patched, [&](Class& self) {
        auto shared = patched.onClass(&self);
        shared->addPreferenceNamed("Pane", pane);
        return shared;
    });
    ASSERT_TRUE(cls.jr_swizzleClassMethod(preferences::sharedPreferences.selector(), patched.selector()));
    EXPECT_THAT(modules(), ElementsAre("General", "Accounts"));

    ASSERT_TRUE(choose("Quillstead Mail", "Preferences…"));
    EXPECT_TRUE(preferences().preferenceWindow()->isVisible());
    EXPECT_THAT(modules(), ElementsAre("General", "Accounts", "Pane"));
    EXPECT_THAT(toolbarItems(), ElementsAre("General", "Accounts", "Pane"));
    EXPECT_EQ(preferences().preferencesPanel()->toolbar()->items()[2]->view()->anchor(), "preferences:Pane");

    preferences().showPreferencesPanelForOwner(pane);
    EXPECT_EQ(preferences().selectedModule(), "Pane");
    const int asked = pane->formsAsked;
    preferences().setValue("switch", true);
    EXPECT_TRUE(pane->on);
    EXPECT_TRUE(preferences().form()->control("switch")->value.boolValue());
    EXPECT_GT(pane->formsAsked, asked) << "asked again after a change";
    preferences().setValue("locked", false);
    preferences().setValue("unknown", false);
    EXPECT_TRUE(pane->on) << "what is disabled or unknown changes nothing";
    preferences().close();
    preferences().show({});
    EXPECT_EQ(preferences().selectedModule(), "Pane") << "the last one shown";
    EXPECT_THAT(modules(), SizeIs(3)) << "added once";
}

TEST_F(PreferencesTest, AToolbarItemShowsItsModule) {
    start();
    preferences().show({});
    const auto item = preferences().preferencesPanel()->toolbar()->items().at(1);
    EXPECT_TRUE(host->application().sendAction(item->action, item->target.lock().get(), item.get()));
    EXPECT_EQ(preferences().selectedModule(), "Accounts");
}

TEST_F(PreferencesTest, GeneralSettingsAreKept) {
    start();
    preferences().show("General");
    EXPECT_TRUE(quotesOriginalMessage());
    EXPECT_FALSE(composesPlainText());
    preferences().setValue(kQuoteOriginalMessage, false);
    preferences().setValue(kComposePlainText, true);
    preferences().setValue(kDefaultAccount, "ben");
    preferences().setValue(kEnableContactPhotos, true);
    ASSERT_TRUE(UserDefaults::suite("")->synchronize());
    host->restart();
    EXPECT_FALSE(quotesOriginalMessage());
    EXPECT_TRUE(composesPlainText());
    EXPECT_EQ(defaultAccountIdentifier(), "ben");
    EXPECT_TRUE(UserDefaults::suite("")->boolForKey("EnableContactPhotos"));
}

TEST_F(PreferencesTest, ContactPicturesAreAnnouncedWhenTheyAreSwitched) {
    start();
    int announced = 0;
    const Operation<void()> patched{"patchedContactPhotoPreferenceChanged"};
    Class& cls = *NSClassFromString("ViewerPreferences");
    cls.addClassMethod(patched, [&](Class& self) {
        ++announced;
        patched.onClass(&self);
    });
    ASSERT_TRUE(cls.jr_swizzleClassMethod(viewer_preferences::postContactPhotoPreferenceChanged.selector(),
                                          patched.selector()));
    preferences().show("General");
    preferences().setValue(kEnableContactPhotos, true);
    EXPECT_EQ(announced, 1);
}

}  // namespace
}  // namespace qs
