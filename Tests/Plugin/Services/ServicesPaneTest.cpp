// The services in the preferences, driven as the page drives them: by the form's controls.
#include "Keychain/Keychain.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "PluginTest.h"
#include "PreferencesWindow.h"
#include "Services/NUKeychain.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kDroplr = 3, kBox = 6, kFtp = 9, kEvernote = 10, kGravatar = 11, kFlickr = 13, kTodoist = 21;

class WaitingSlave : public QSServiceSlaveProtocol {
public:
    explicit WaitingSlave(std::weak_ptr<QSService> service) : service_(std::move(service)) {}
    bool respondsTo(QSSlaveOperation operation) const override {
        return operation == QSSlaveOperation::Authenticate || operation == QSSlaveOperation::SetAuthDelegate ||
               operation == QSSlaveOperation::Sync;
    }
    void sync() override { ++syncs; }
    void authenticate() override { service_.lock()->setLinking(true); }
    void setAuthDelegate(std::weak_ptr<QSServiceSlaveAuthenticationDelegate> delegate) override {
        delegate_ = std::move(delegate);
    }
    void end(const std::optional<Error>& error) {
        delegate_.lock()->didFinishAuthenticationWithError(error);
        service_.lock()->markAsLinked(!error);
    }
    int syncs = 0;

private:
    std::weak_ptr<QSService> service_;
    std::weak_ptr<QSServiceSlaveAuthenticationDelegate> delegate_;
};

class ServicesPaneTest : public PluginTest {
protected:
    void SetUp() override {
        startHost();
        Platform::current().keychain = Keychain::vault({host_->dataFolder() / "Keychain", {}, nullptr});
        for (const int type : {kDroplr, kFtp, kEvernote, kFlickr})
            manager().slaveClasses().setMaker(
                type, [](const QSServiceRef& service) { return std::make_shared<WaitingSlave>(service); });
        preferences().show("Quillstead");
        host_->settle();
    }
    QSServicesManager& manager() { return QSServicesManager::sharedManager(); }
    PreferencesWindow& preferences() { return host_->application().preferences(); }
    std::shared_ptr<FormModel> sheet() { return preferences().preferenceWindow()->currentSheet(); }
    FormControl control(const char* id) {
        const auto form = preferences().form();
        const FormControl* found = form->control(id);
        EXPECT_TRUE(found) << id;
        return found ? *found : FormControl{};
    }
    void set(const char* id, const Value& value) {
        preferences().setValue(id, value);
        host_->settle();
    }
    void press(const char* id) { set(id, {}); }
    void select(const QSServiceRef& service) { set("services", Array{*service->uniqueIdentifier()}); }
    void type(const char* id, const char* text) { sheet()->control(id)->value = text; }
    void pressInSheet(int button) {
        const FormButton pressed = sheet()->buttons.at(static_cast<std::size_t>(button));
        if (pressed.action)
            pressed.action();
        else
            preferences().preferenceWindow()->endSheet(*sheet(), pressed.code);
        host_->settle();
    }
    void answerNextAlert() {
        RunLoop::main().post([this] {
            ASSERT_FALSE(AlertCentre::shared().shown().empty());
            const Alert* alert = AlertCentre::shared().shown().front();
            alerted_.push_back(alert->messageText + ": " + alert->informativeText);
            AlertCentre::shared().answer(alert->identifier, 0, false);
        });
    }
    WaitingSlave& slaveOf(const QSServiceRef& service) { return dynamic_cast<WaitingSlave&>(service->slave()); }
    std::string stateOf(const QSServiceRef& service) {
        for (const FormOption& row : control("services").options)
            if (row.value == Value(*service->uniqueIdentifier())) return row.state + " " + row.stateColor;
        return "(none)";
    }
    std::vector<std::string> alerted_;
};

TEST_F(ServicesPaneTest, StatesAreToldByWordAndColourAndButtonsFitTheChoice) {
    EXPECT_FALSE(control("linkService").enabled);
    EXPECT_FALSE(control("removeService").enabled);
    const auto flickr = manager().servicesOfServiceType(kFlickr, true).front();
    select(flickr);
    EXPECT_EQ(control("linkService").label, "Unlink");
    EXPECT_FALSE(control("removeService").enabled) << "it would come back at the next start";
    EXPECT_EQ(stateOf(flickr), "Linked #33C649");
    press("linkService");
    EXPECT_EQ(stateOf(flickr), "Not linked #E0E0E0");
    EXPECT_EQ(control("linkService").label, "Link");
    press("linkService");
    EXPECT_TRUE(flickr->linked());
    set("services", Array{*flickr->uniqueIdentifier(), *manager().services().front()->uniqueIdentifier()});
    EXPECT_FALSE(control("linkService").enabled) << "one at a time";
}

TEST_F(ServicesPaneTest, WhatHasNoWorkerYetIsNotShownAsWorking) {
    const auto gravatar = manager().servicesOfServiceType(kGravatar, true).at(0);
    select(gravatar);
    EXPECT_EQ(stateOf(gravatar), "Not available yet ");
    EXPECT_EQ(control("linkService").label, "Link");
    EXPECT_FALSE(control("linkService").enabled);
    EXPECT_TRUE(gravatar->linked()) << "so that it works from the start once its worker is there";

    const auto todoist = manager().addServiceOfType(kTodoist);
    select(todoist);
    EXPECT_FALSE(control("linkService").enabled);
    todoist->setLogin("ada");
    todoist->setPassword("swordfish");
    todoist->markAsLinked(true);
    EXPECT_EQ(stateOf(todoist), "Not available yet ");
    EXPECT_EQ(control("linkService").label, "Unlink");
    press("linkService");
    EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(todoist->keychainIdentifier(), "ada"));
}

TEST_F(ServicesPaneTest, AServiceWithoutItsKeysSaysSo) {
    press("addService");
    std::vector<std::string> titles;
    for (const FormOption& row : sheet()->control("types")->options)
        titles.push_back(row.title);
    EXPECT_THAT(titles, ElementsAre("Droplr", "Box", "FTP/SFTP/WebDAV", "Evernote"));
    sheet()->control("types")->value = Array{kBox};
    pressInSheet(0);
    const auto box = manager().servicesOfServiceType(kBox, false).at(0);
    EXPECT_EQ(control("services").value, Value(Array{*box->uniqueIdentifier()})) << "what is new is selected";
    answerNextAlert();
    press("linkService");
    EXPECT_THAT(alerted_, ElementsAre(HasSubstr("Box Is Not Set Up: This copy of Quillstead is not registered at Box "
                                                "yet. What it needs: ClientID, ClientSecret.")));
    EXPECT_FALSE(box->linking());
    EXPECT_THAT(workspace_->openedUrls, IsEmpty());
}

TEST_F(ServicesPaneTest, ALoginPanelLinksKeepsThePasswordAndTellsOfRefusals) {
    const auto droplr = manager().addServiceOfType(kDroplr);
    select(droplr);
    press("linkService");
    ASSERT_TRUE(sheet());
    EXPECT_EQ(sheet()->title, "Link Droplr");
    type("password", "swordfish");
    pressInSheet(0);
    EXPECT_FALSE(droplr->linking()) << "a login is missing";
    type("login", "ada");
    pressInSheet(0);
    EXPECT_EQ(sheet()->buttons.front().title, "Linking");
    EXPECT_FALSE(sheet()->control("login")->enabled);
    EXPECT_EQ(stateOf(droplr), "Linking… #FCBF3F");
    slaveOf(droplr).end(Error{"Test", 2, "The provided login is invalid", {}});
    EXPECT_EQ(sheet()->buttons.front().title, "Link");
    EXPECT_TRUE(sheet()->control("login")->enabled);
    EXPECT_EQ(sheet()->message, "Droplr could not be linked. The provided login is invalid");
    pressInSheet(0);
    slaveOf(droplr).end(std::nullopt);
    host_->settle();
    EXPECT_FALSE(sheet());
    EXPECT_TRUE(droplr->linked());
    EXPECT_EQ(NUKeychain::passwordFromKeychainItem(droplr->keychainIdentifier(), "ada"), "swordfish");

    press("removeService");
    EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(droplr->keychainIdentifier(), "ada"));
    EXPECT_EQ(manager().serviceWithIdentifier(*droplr->uniqueIdentifier()), nullptr);
    EXPECT_EQ(stateOf(droplr), "(none)");
}

TEST_F(ServicesPaneTest, EachPanelAsksForWhatItsKindNeeds) {
    const auto ftp = manager().addServiceOfType(kFtp);
    select(ftp);
    press("linkService");
    type("login", "ada");
    type("QSGenericServer", "example.org/public");
    answerNextAlert();
    pressInSheet(0);
    EXPECT_THAT(alerted_, ElementsAre("Invalid Server Address: The provided server address does not have the required "
                                      "format."));
    EXPECT_EQ(ftp->login(), std::nullopt);
    type("QSGenericServer", "sftp://example.org/public");
    pressInSheet(0);
    EXPECT_EQ(ftp->credentials()["QSGenericServer"], Value("sftp://example.org/public"));
    EXPECT_TRUE(ftp->linking());
    pressInSheet(1);
    EXPECT_FALSE(ftp->linking()) << "who closes the panel gives up";

    const auto evernote = manager().addServiceOfType(kEvernote);
    select(evernote);
    press("linkService");
    EXPECT_EQ(sheet()->control("login"), nullptr);
    sheet()->control("QSEvernoteHost")->value = 1;
    pressInSheet(0);
    EXPECT_TRUE(evernote->linking()) << "it needs no login here";
    EXPECT_EQ(evernote->credentials()["QSEvernoteHost"], Value(1));
}

TEST_F(ServicesPaneTest, OpeningThePreferencesSyncsAndBlindCopiesAreKept) {
    const auto droplr = manager().addServiceOfType(kDroplr);
    droplr->markAsLinked(true);
    const int before = slaveOf(droplr).syncs;
    preferences().close();
    preferences().show("General");
    host_->settle();
    EXPECT_EQ(slaveOf(droplr).syncs, before + 1) << "each time the window gets the keys, whatever it shows";
    preferences().show("Quillstead");
    host_->settle();
    EXPECT_EQ(slaveOf(droplr).syncs, before + 1);
    for (const bool isActive : {true, false, true})
        host_->application().setActive(isActive);
    host_->settle();
    EXPECT_GE(slaveOf(droplr).syncs, before + 2) << "when somebody comes back to it";
    set("automaticBCC-ada", Array{"archive@example.org"});
    EXPECT_EQ(manager().automaticBCCForDeliveryAccountIdentifier("ada"), Array{"archive@example.org"});
    set("automaticBCC-ada", Array{});
    EXPECT_EQ(manager().automaticBCCForDeliveryAccountIdentifier("ada"), std::nullopt);
}

}  // namespace
}  // namespace qs
