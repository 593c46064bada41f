// The host's own preferences, General. Accounts are in Accounts/AccountPreferences.cpp.
#include "AccountBook.h"
#include "HostSettings.h"
#include "MailEngine.h"
#include "Models/ModelChanges.h"
#include "PreferencesWindowObject.h"
#include "Settings/UserDefaults.h"

namespace qs {
namespace {

void store(std::string_view key, const Value& value) { UserDefaults::suite("")->setObject(value, key); }

FormControl checkBox(std::string_view key, std::string label) {
    FormControl control;
    control.kind = FormControl::Kind::CheckBox;
    control.id = key;
    control.label = std::move(label);
    control.value = UserDefaults::suite("")->boolForKey(key);
    control.onChange = [key](const Value& value) { store(key, value.boolValue()); };
    return control;
}

class GeneralPreferences : public PreferencesModule {
public:
    explicit GeneralPreferences(AccountBook& accounts)
        : PreferencesModule("NSPreferencesModule"), accounts_(accounts) {}
    std::string imageName() const override { return "preferences"; }

    std::shared_ptr<FormModel> form() override {
        auto form = std::make_shared<FormModel>();
        form->identifier = "General";
        form->title = "General";
        form->groups.push_back(
            {.title = "New messages",
             .note = {},
             .controls = {defaultAccount(), checkBox(kComposePlainText, "Write new messages as plain text"),
                          checkBox(kQuoteOriginalMessage, "Quote the text that a message replies to")}});
        form->groups.push_back(
            {.title = "New mail",
             .note = "Your browser asks whether it may, and is silent while you look at this page.",
             .controls = {notifications(), checkBox(kNotificationsTellContent, "Name the sender and the subject")}});
        form->groups.push_back({.title = "Reading", .note = {}, .controls = {contactPhotos(), pictureSenders()}});
        return form;
    }

private:
    FormControl defaultAccount() const {
        FormControl control;
        control.kind = FormControl::Kind::PopUp;
        control.id = kDefaultAccount;
        control.label = "Send new messages from";
        control.options.push_back({.title = "The first account", .value = ""});
        for (const AccountRecord& account : accounts_.inUse())
            control.options.push_back({.title = account.displayName, .value = account.identifier});
        // An account that was chosen once and has gone counts as none.
        const std::string chosen = defaultAccountIdentifier();
        control.value = accounts_.find(chosen) ? chosen : std::string();
        control.onChange = [](const Value& value) { store(kDefaultAccount, value.stringValue()); };
        return control;
    }

    static FormControl notifications() {
        FormControl control = checkBox(kNotifyOfNewMail, "Let the browser tell me of new mail");
        control.onChange = [](const Value& value) {
            store(kNotifyOfNewMail, value.boolValue());
            noteModelChange();
        };
        return control;
    }

    static FormControl contactPhotos() {
        FormControl control = checkBox(kEnableContactPhotos, "Show pictures of the people who write");
        control.onChange = [](const Value& value) {
            store(kEnableContactPhotos, value.boolValue());
            viewer_preferences::postContactPhotoPreferenceChanged.onClass(NSClassFromString("ViewerPreferences"));
        };
        return control;
    }

    static FormControl pictureSenders() {
        FormControl control;
        control.kind = FormControl::Kind::TextList;
        control.id = kRemotePictureSenders;
        control.label = "Always show remote pictures from";
        control.placeholder = "Add an address";
        control.value = UserDefaults::suite("")->objectForKey(kRemotePictureSenders).array();
        control.onChange = [](const Value& value) { store(kRemotePictureSenders, value.array()); };
        return control;
    }

    AccountBook& accounts_;
};

}  // namespace

std::shared_ptr<PreferencesModule> makeGeneralPreferences(MailEngine& engine) {
    return std::make_shared<GeneralPreferences>(engine.accounts());
}

}  // namespace qs
