// The pane of the preferences that lists the accounts: adding, changing, switching off, removing.
#include <algorithm>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Accounts/AccountSheet.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "MailEngine.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "PreferencesWindowObject.h"

namespace qs {
namespace {

using Kind = FormControl::Kind;

std::string detailOf(const AccountRecord& account) {
    std::string text = account.mainAddress();
    if (account.identities.size() > 1)
        text += stringWithFormat(" and %ld more", {static_cast<std::int64_t>(account.identities.size() - 1)});
    switch (account.kind) {
    case AccountKind::Imap: return text + " · IMAP at " + account.incoming->host;
    case AccountKind::Maildir: return text + " · " + account.maildir.string();
    case AccountKind::Local: break;
    }
    return text + " · on this computer";
}

class AccountPreferences : public PreferencesModule {
public:
    AccountPreferences(MailEngine& engine, std::weak_ptr<Window> window)
        : PreferencesModule("NSPreferencesModule"), engine_(engine), window_(std::move(window)) {}
    std::string imageName() const override { return "accounts"; }

    std::shared_ptr<FormModel> form() override {
        auto form = std::make_shared<FormModel>();
        form->identifier = "Accounts";
        form->title = "Accounts";
        FormGroup group{.title = "Accounts", .note = {}, .controls = {list()}};
        for (FormControl& each : buttons())
            group.controls.push_back(std::move(each));
        group.note =
            "Kept in " + (engine_.dataFolder() / "Accounts.plist").string() + "; passwords are in the keychain.";
        form->groups.push_back(std::move(group));
        return form;
    }

private:
    FormControl list() {
        FormControl list{.kind = Kind::List, .id = "accounts", .toolTip = "Accounts"};
        list.placeholder = "There is no account yet.";
        Array chosen;
        for (const AccountRecord& account : engine_.accounts().all()) {
            list.options.push_back({.title = account.displayName,
                                    .value = account.identifier,
                                    .imageName = "accounts",
                                    .detail = detailOf(account),
                                    .state = account.isEnabled ? "on" : "off",
                                    .stateColor = account.isEnabled ? "#2E7D32" : "#757575"});
            if (account.identifier == chosen_) chosen.push_back(account.identifier);
        }
        list.value = chosen;
        list.controls = {"addAccount", "changeAccount", "switchAccount", "removeAccount"};
        list.onChange = [self = weak()](const Value& value) {
            const auto pane = self.lock();
            if (pane) pane->chosen_ = value.array().empty() ? std::string() : value.array().back().stringValue();
        };
        return list;
    }

    std::vector<FormControl> buttons() {
        const AccountRecord* account = engine_.accounts().find(chosen_);
        const bool isOn = !account || account->isEnabled;
        return {button("addAccount", "Add…", true, &AccountPreferences::add),
                button("changeAccount", "Change…", account != nullptr, &AccountPreferences::change),
                button("switchAccount", isOn ? "Switch Off" : "Switch On", account != nullptr,
                       &AccountPreferences::switchOnOrOff),
                button("removeAccount", "Remove…", account != nullptr, &AccountPreferences::remove)};
    }

    FormControl button(std::string id, std::string title, bool enabled, void (AccountPreferences::*action)()) {
        FormControl control{.kind = Kind::Button, .id = std::move(id), .label = std::move(title)};
        control.enabled = enabled;
        control.onChange = [self = weak(), action](const Value&) {
            if (const auto pane = self.lock()) ((*pane).*action)();
        };
        return control;
    }

    std::weak_ptr<AccountPreferences> weak() {
        return std::static_pointer_cast<AccountPreferences>(shared_from_this());
    }

    AccountSheetOptions options() {
        return {.saved = [self = weak()](const std::string& identifier) {
            if (const auto pane = self.lock()) pane->chosen_ = identifier;
            noteModelChange();
        }};
    }

    void add() {
        if (const auto window = window_.lock()) addAccountInSheet(engine_, *window, options());
    }

    void change() {
        const AccountRecord* account = engine_.accounts().find(chosen_);
        const auto window = window_.lock();
        if (account && window) changeAccountInSheet(engine_, *window, *account, options());
    }

    void switchOnOrOff() {
        const AccountRecord* found = engine_.accounts().find(chosen_);
        if (!found) return;
        AccountRecord account = *found;
        if (account.isEnabled && !maySwitchOff(account)) return;
        account.isEnabled = !account.isEnabled;
        if (const auto put = putAccount(engine_, std::move(account)); !put)
            tell("The account could not be changed", put.error().description);
    }

    bool maySwitchOff(const AccountRecord& account) {
        const std::string unsent = unsentSentence(account);
        if (unsent.empty()) return true;
        Alert alert;
        alert.messageText = stringWithFormat("Switch off the account “%@”?", {account.displayName});
        alert.informativeText = unsent + " as long as the account is switched off.";
        alert.buttons = {"Switch Off", "Cancel"};
        alert.cancelButton = 1;
        return alert.runModal() != kAlertSecondButtonReturn;
    }

    void remove() {
        const AccountRecord* account = engine_.accounts().find(chosen_);
        if (!account) return;
        Alert alert;
        alert.messageText = stringWithFormat("Remove the account “%@”?", {account->displayName});
        alert.informativeText = whatRemovingDoes(*account);
        alert.buttons = {"Remove", "Cancel"};
        const bool hasMail = account->kind != AccountKind::Maildir &&
                             engine_.files().exists(engine_.dataFolder() / "Mail" / account->identifier);
        if (hasMail) alert.buttons.push_back("Remove and Delete Mail");
        alert.cancelButton = 1;
        const std::string identifier = account->identifier;
        const int answer = alert.runModal();
        if (answer == kAlertSecondButtonReturn) return;
        const auto mail = answer == kAlertThirdButtonReturn ? MailOfAccount::Goes : MailOfAccount::Stays;
        if (const auto removed = removeAccount(engine_, identifier, mail); !removed)
            tell("The account could not be removed", removed.error().description);
    }

    std::string whatRemovingDoes(const AccountRecord& account) {
        const auto folder = engine_.dataFolder() / "Mail" / account.identifier;
        std::string text =
            account.kind == AccountKind::Maildir
                ? stringWithFormat("The folder %@ and all mail in it stay as they are.", {account.maildir.string()})
                : stringWithFormat("Its mail on this computer stays in %@, unless you delete it too.",
                                   {folder.string()});
        if (account.kind == AccountKind::Imap) text += " Nothing changes at the mail server.";
        if (const std::string unsent = unsentSentence(account); !unsent.empty()) text += " " + unsent + ".";
        return text;
    }

    // Without its full stop; empty where all is sent.
    std::string unsentSentence(const AccountRecord& account) {
        const int count = unsentMessages(engine_, account.identifier);
        if (count == 0) return {};
        return count == 1 ? "A message in its outbox will not be sent"
                          : stringWithFormat("%ld messages in its outbox will not be sent", {count});
    }

    static void tell(std::string title, std::string text) {
        Alert alert;
        alert.messageText = std::move(title);
        alert.informativeText = std::move(text);
        alert.runModal();
    }

    MailEngine& engine_;
    const std::weak_ptr<Window> window_;
    std::string chosen_;
};

}  // namespace

std::shared_ptr<PreferencesModule> makeAccountPreferences(MailEngine& engine, std::weak_ptr<Window> window) {
    return std::make_shared<AccountPreferences>(engine, std::move(window));
}

}  // namespace qs
