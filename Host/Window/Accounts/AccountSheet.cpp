#include "Accounts/AccountSheet.h"

#include <atomic>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Accounts/AccountForm.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/MaildirPlace.h"
#include "Accounts/SheetSecrets.h"
#include "Accounts/SheetSignIn.h"
#include "Foundation/RunLoop.h"
#include "MailEngine.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

class AccountSheet : public std::enable_shared_from_this<AccountSheet> {
public:
    AccountSheet(MailEngine& engine, Window& window, AccountSheetOptions options, AccountDraft draft)
        : engine_(engine),
          window_(std::static_pointer_cast<Window>(window.shared_from_this())),
          options_(std::move(options)),
          form_(std::make_shared<FormModel>()) {
        state_.draft = std::make_shared<AccountDraft>(std::move(draft));
        step_ = state_.draft->isNew() ? Step::Person : Step::Servers;
    }

    void begin() {
        state_.rebuild = [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->show();
        };
        show();
        // The sheet owns this object, and its end is the object's, too.
        window_.lock()->beginSheet(form_, [self = shared_from_this()](int) { self->end(); });
    }

private:
    enum class Step { Person, Servers };

    void end() {
        *cancelled_ = true;
        check_.reset();
        signIn_.stop();
        form_->groups.clear();
        form_->buttons.clear();
        state_.rebuild = nullptr;
    }

    void close() {
        if (const auto window = window_.lock()) window->endSheet(*form_, kSheetConfirmed);
    }

    bool isBusy() const { return !state_.progress.empty(); }

    void show() {
        const bool isNew = state_.draft->isNew();
        // Fields that are there in both steps are different ones to the page.
        form_->identifier = step_ == Step::Person ? "addAccount" : isNew ? "addAccountServers" : "changeAccount";
        form_->title = isNew ? "Add an Account" : "Change the Account";
        form_->message = message_;
        if (message_.empty() && step_ == Step::Person && state_.draft->kind == AccountKind::Imap)
            form_->message = "Enter your address and its password. The servers are found by themselves where that is "
                             "possible.";
        form_->groups = step_ == Step::Person ? personGroups(state_) : serverGroups(state_);
        form_->buttons = buttons();
        noteModelChange();
    }

    std::vector<FormButton> buttons() {
        const auto button = [&](std::string title, void (AccountSheet::*action)()) {
            return FormButton{.title = std::move(title), .action = [weak = weak_from_this(), action] {
                                  const auto self = weak.lock();
                                  if (self && !self->isBusy()) ((*self).*action)();
                              }};
        };
        const bool isNew = state_.draft->isNew();
        std::vector<FormButton> made;
        if (step_ == Step::Person) {
            made.push_back(button("Continue", &AccountSheet::goOn));
            if (state_.draft->kind == AccountKind::Imap)
                made.push_back(button("Set Up by Hand…", &AccountSheet::setUpByHand));
        } else {
            made.push_back(button(isNew ? "Add Account" : "Save", &AccountSheet::tryAndSave));
            if (state_.draft->asksBrowser() && (tokens() || !isNew))
                made.push_back(button("Sign In Again…", &AccountSheet::signInAgain));
            if (mayGoUntried_) made.push_back(button(isNew ? "Add Anyway" : "Save Anyway", &AccountSheet::save));
            if (isNew) made.push_back(button("Back", &AccountSheet::goBack));
        }
        made.front().isDefault = true;
        made.push_back({.title = isBusy() ? "Stop" : "Cancel", .isCancel = true, .action = [weak = weak_from_this()] {
                            if (const auto self = weak.lock()) self->stopOrClose();
                        }});
        return made;
    }

    void stopOrClose() {
        if (!isBusy()) return close();
        *std::exchange(cancelled_, std::make_shared<std::atomic_bool>(false)) = true;
        check_.reset();
        signIn_.stop();
        state_.progress.clear();
        show();
    }

    // Work elsewhere, then `done` here with what it gave, unless it was stopped: then `undo` elsewhere.
    template <class Work, class Done, class Undo>
    void elsewhere(std::string progress, Work work, Done done, Undo undo) {
        state_.progress = std::move(progress);
        state_.faults.clear();
        message_.clear();
        show();
        RunLoop& loop = RunLoop::main();
        loop.postToGlobalQueue([&loop, weak = weak_from_this(), cancelled = cancelled_, work = std::move(work),
                                done = std::move(done), undo = std::move(undo)] {
            auto result = work(*cancelled);
            loop.post([&loop, weak, cancelled, done, undo, result = std::move(result)] {
                const auto self = weak.lock();
                if (!self || *cancelled) return loop.postToGlobalQueue([undo, result] { undo(result); });
                self->state_.progress.clear();
                done(*self, result);
            });
        });
    }

    template <class Work, class Done>
    void elsewhere(std::string progress, Work work, Done done) {
        elsewhere(std::move(progress), std::move(work), std::move(done), [](const auto&) {});
    }

    bool hasFaults(DraftFaults faults) {
        state_.faults = std::move(faults);
        message_.clear();
        if (state_.faults.empty()) return false;
        show();
        return true;
    }

    void goOn() {
        if (hasFaults(state_.draft->faultsOfPerson()) || isKnownAlready()) return;
        if (state_.draft->kind == AccountKind::Maildir) return lookIntoFolder();
        if (state_.draft->hasSettings()) return showServers();
        const std::string address(trimmedAscii(state_.draft->address));
        elsewhere(
            "Looking for the servers of " + address.substr(address.rfind('@') + 1) + "…",
            [address, ports = options_.discovery](const std::atomic_bool& cancelled) {
                return discoverSettings(address, ProviderTable::builtIn(), ports, [&] { return cancelled.load(); });
            },
            [](AccountSheet& self, const FoundSettings& found) { self.take(found); });
    }

    bool isKnownAlready() {
        const auto* known = engine_.accounts().withAddress(trimmedAscii(state_.draft->address));
        return known && hasFaults({{"address", "The account “" + known->displayName + "” has this address."}});
    }

    void take(const FoundSettings& found) {
        hint_ = found.hint;
        state_.draft->takeSettings(found);
        const bool isWhole = found.incoming && found.outgoing;
        const bool canSignIn = state_.draft->signsInByBrowser ? !state_.draft->signIn.clientIdentifier.empty()
                                                              : !state_.draft->incoming.password.empty();
        if (isWhole && found.isTrusted && canSignIn) return tryAndSave();
        step_ = Step::Servers;
        message_ = !isWhole ? "Not all servers of this address could be found. Your provider tells what to enter here."
                   : state_.draft->signsInByBrowser ? "These servers were found."
                   : found.isTrusted
                       ? "These servers were found. Please enter the password."
                       : "These servers were found, but they belong to another domain than your address. Please look "
                         "whether they are the ones that your provider names.";
        if (!hint_.empty()) message_ += " " + hint_;
        show();
    }

    void setUpByHand() {
        if (hasFaults(state_.draft->faultsOfPerson()) || isKnownAlready()) return;
        if (state_.draft->hasSettings()) return showServers();
        const std::string_view address = trimmedAscii(state_.draft->address);
        const Provider* provider = ProviderTable::builtIn().forDomain(address.substr(address.rfind('@') + 1));
        FoundSettings found;
        if (provider)
            found = {.incoming = provider->imap,
                     .outgoing = provider->smtp,
                     .signIn = provider->signIn,
                     .browser = provider->browser};
        hint_.clear();
        state_.draft->takeSettings(found);
        showServers();
    }

    void showServers() {
        step_ = Step::Servers;
        show();
    }

    void goBack() {
        step_ = Step::Person;
        state_.faults.clear();
        message_.clear();
        mayGoUntried_ = false;
        show();
    }

    void lookIntoFolder() {
        const auto folder = state_.draft->record().maildir;
        elsewhere(
            "Looking into the folder…",
            [folder, &files = engine_.files()](const std::atomic_bool&) { return faultOfMaildirTree(folder, files); },
            [](AccountSheet& self, const std::string& fault) {
                if (!fault.empty())
                    self.state_.faults["folder"] = fault;
                else
                    self.step_ = Step::Servers;
                self.show();
            });
    }

    void tryAndSave() {
        if (hasFaults(state_.draft->faults())) {
            step_ = Step::Servers;
            return show();
        }
        if (needsBrowser()) return signInByBrowser();
        const AccountRecord account = state_.draft->record();
        elsewhere(
            "Signing in at the mail servers…",
            [account, isNew = state_.draft->isNew(), given = given()](const std::atomic_bool&) {
                return secretsFor(account, isNew, given);
            },
            [account](AccountSheet& self, const Result<GivenSecrets>& secrets) { self.check(account, secrets); });
    }

    SheetSecrets given() const {
        const AccountDraft& draft = *state_.draft;
        SheetSecrets given;
        if (draft.kind == AccountKind::Imap && !draft.signsInByBrowser) given.typed.incoming = draft.incoming.password;
        if (draft.asksOutgoingPassword()) given.typed.outgoing = draft.outgoing.password;
        given.tokens = tokens();
        return given;
    }

    std::string typedClientSecret() const { return std::string(trimmedAscii(state_.draft->clientSecret)); }

    std::optional<MailTokens> tokens() const {
        if (!state_.draft->asksBrowser()) return {};
        return signIn_.tokens(state_.draft->record(), typedClientSecret());
    }

    // An account that is signed in already need not be asked again.
    bool needsBrowser() const {
        const AccountDraft& draft = *state_.draft;
        return draft.asksBrowser() && !tokens() &&
               (draft.isNew() || draft.before.signIn != draft.record().signIn || !typedClientSecret().empty());
    }

    void signInAgain() {
        signIn_.forget();
        if (!hasFaults(state_.draft->faults())) signInByBrowser();
    }

    // The client secret that is kept goes to the provider that it is of, and to no other.
    void signInByBrowser() {
        const AccountRecord account = state_.draft->record();
        const AccountRecord& before = state_.draft->before;
        const bool isOfBefore = before.signIn && before.signIn->tokenAddress == account.signIn->tokenAddress &&
                                before.signIn->clientIdentifier == account.signIn->clientIdentifier;
        if (!isOfBefore || !typedClientSecret().empty()) return openBrowser(account, typedClientSecret());
        elsewhere(
            "Looking into the keychain…", [before](const std::atomic_bool&) { return keptClientSecret(before); },
            [account](AccountSheet& self, const Result<std::string>& secret) {
                if (secret) return self.openBrowser(account, *secret);
                self.signedIn(failed(secret));
            });
    }

    void openBrowser(const AccountRecord& account, const std::string& clientSecret) {
        message_.clear();
        const auto started = signIn_.start(account, typedClientSecret(), clientSecret,
                                           [weak = weak_from_this()](const Result<void>& done) {
                                               if (const auto self = weak.lock()) self->signedIn(done);
                                           });
        if (!started) return signedIn(started);
        state_.progress = "Waiting for the sign-in in your browser…";
        show();
    }

    void signedIn(const Result<void>& done) {
        state_.progress.clear();
        if (done) return tryAndSave();
        step_ = Step::Servers;
        message_ = done.error().description;
        show();
    }

    void check(const AccountRecord& account, const Result<GivenSecrets>& secrets) {
        if (!secrets) {
            step_ = Step::Servers;
            message_ = secrets.error().description;
            mayGoUntried_ = !state_.draft->isNew();
            return show();
        }
        state_.progress = "Signing in at the mail servers…";
        show();
        check_ = AccountCheck::start(account, *secrets, hint_, [weak = weak_from_this()](const auto& faults) {
            if (const auto self = weak.lock()) self->checked(faults);
        });
    }

    void checked(const std::vector<AccountFault>& faults) {
        state_.progress.clear();
        if (faults.empty()) return save();
        step_ = Step::Servers;
        mayGoUntried_ = true;
        for (const AccountFault& fault : faults)
            state_.faults[controlFor(fault)] = fault.text;
        message_ = faults.size() > 1                             ? "Signing in did not work at either server."
                   : faults.front().side == ServerSide::Incoming ? "Signing in for incoming mail did not work."
                                                                 : "Signing in for outgoing mail did not work.";
        show();
    }

    void save() {
        if (hasFaults(state_.draft->faults())) return;
        AccountRecord account = state_.draft->record();
        if (account.identifier.empty()) account.identifier = freshAccountIdentifier(engine_, account.mainAddress());
        elsewhere(
            "Saving…",
            [account, given = given()](const std::atomic_bool& cancelled) {
                return keepSecrets(account, given, [&] { return cancelled.load(); });
            },
            [account, isNews = !given().isEmpty()](AccountSheet& self, const Result<ReplacedSecrets>& replaced) {
                self.finish(account, replaced, isNews);
            },
            [](const Result<ReplacedSecrets>& replaced) {
                if (replaced) putBack(*replaced);
            });
    }

    void finish(const AccountRecord& account, const Result<ReplacedSecrets>& replaced, bool hasNewSecrets) {
        const auto saved = replaced ? putAccount(engine_, account) : failed(replaced);
        RunLoop& loop = RunLoop::main();
        if (!saved) {
            if (replaced) loop.postToGlobalQueue([replaced] { putBack(*replaced); });
            step_ = Step::Servers;
            message_ = "The account could not be saved. " + saved.error().description;
            return show();
        }
        loop.postToGlobalQueue([account] { account_secrets::forgetUnused(account); });
        if (hasNewSecrets) tryAgainWithNewSecrets(engine_, account.identifier);
        const auto done = options_.saved;
        close();
        if (done) done(account.identifier);
    }

    MailEngine& engine_;
    const std::weak_ptr<Window> window_;
    const AccountSheetOptions options_;
    const std::shared_ptr<FormModel> form_;
    AccountFormState state_;
    Step step_ = Step::Person;
    std::string message_, hint_;
    bool mayGoUntried_ = false;  // a test has failed, which may be for reasons that pass
    std::shared_ptr<std::atomic_bool> cancelled_ = std::make_shared<std::atomic_bool>(false);
    std::unique_ptr<AccountCheck> check_;
    SheetSignIn signIn_;
};

void beginSheet(MailEngine& engine, Window& window, AccountSheetOptions options, AccountDraft draft) {
    std::make_shared<AccountSheet>(engine, window, std::move(options), std::move(draft))->begin();
}

}  // namespace

void addAccountInSheet(MailEngine& engine, Window& window, AccountSheetOptions options) {
    beginSheet(engine, window, std::move(options), {});
}

void changeAccountInSheet(MailEngine& engine, Window& window, const AccountRecord& account,
                          AccountSheetOptions options) {
    beginSheet(engine, window, std::move(options), AccountDraft::of(account));
}

}  // namespace qs
