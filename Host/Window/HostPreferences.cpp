// The host's own preference modules: General and Accounts.
#include "AccountBook.h"
#include "Foundation/Format.h"
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

FormControl sentence(std::string id, std::string label, std::string text) {
    FormControl control;
    control.id = std::move(id);
    control.label = std::move(label);
    control.value = std::move(text);
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
        for (const AccountRecord& account : accounts_.all())
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

std::string serverText(const AccountRecord& account) {
    if (!account.outgoing) return "Delivers to the other accounts of this program only";
    const char* security = account.outgoing->security == TransportSecurity::Tls        ? "TLS"
                           : account.outgoing->security == TransportSecurity::StartTls ? "STARTTLS"
                                                                                       : "without encryption";
    return stringWithFormat("Sends through %@, port %ld, %@",
                            {account.outgoing->host, account.outgoing->port, security});
}

class AccountPreferences : public PreferencesModule {
public:
    AccountPreferences(AccountBook& accounts, std::string file)
        : PreferencesModule("NSPreferencesModule"), accounts_(accounts), file_(std::move(file)) {}
    std::string imageName() const override { return "accounts"; }

    std::shared_ptr<FormModel> form() override {
        auto form = std::make_shared<FormModel>();
        form->identifier = "Accounts";
        form->title = "Accounts";
        form->message = "Accounts are kept in the file " + file_ +
                        ". It is read when the program starts, and can be changed with any text editor.";
        for (const AccountRecord& account : accounts_.all()) {
            std::string addresses;
            for (const std::string& address : account.addresses())
                addresses += (addresses.empty() ? "" : ", ") + address;
            form->groups.push_back(
                {.title = account.displayName,
                 .note = {},
                 .controls = {sentence(account.identifier + ".name", "Name", account.fullName()),
                              sentence(account.identifier + ".address", "Address", addresses),
                              sentence(account.identifier + ".server", "Server", serverText(account))}});
        }
        return form;
    }

private:
    AccountBook& accounts_;
    std::string file_;
};

}  // namespace

std::shared_ptr<PreferencesModule> makeGeneralPreferences(MailEngine& engine) {
    return std::make_shared<GeneralPreferences>(engine.accounts());
}

std::shared_ptr<PreferencesModule> makeAccountPreferences(MailEngine& engine) {
    return std::make_shared<AccountPreferences>(engine.accounts(), (engine.dataFolder() / "Accounts.plist").string());
}

}  // namespace qs
