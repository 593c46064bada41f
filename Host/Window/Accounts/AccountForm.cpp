#include "Accounts/AccountForm.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

class Controls {
public:
    explicit Controls(const AccountFormState& state) : state_(state) {}

    FormControl text(Kind kind, std::string id, std::string label, std::string AccountDraft::*field,
                     std::string placeholder = {}) const {
        return bound(kind, std::move(id), std::move(label), (*state_.draft).*field, std::move(placeholder),
                     [field](AccountDraft& draft, const Value& value) { draft.*field = value.stringValue(); });
    }

    // Of one of the servers, which `server` names.
    FormControl text(Kind kind, std::string id, std::string label, ServerDraft AccountDraft::*server,
                     std::string ServerDraft::*field, std::string placeholder = {}) const {
        return bound(
            kind, std::move(id), std::move(label), ((*state_.draft).*server).*field, std::move(placeholder),
            [server, field](AccountDraft& draft, const Value& value) { (draft.*server).*field = value.stringValue(); });
    }

    // Of the place where it signs in by the browser.
    FormControl text(std::string id, std::string label, std::string SignInPlace::*field,
                     std::string placeholder = {}) const {
        return bound(Kind::TextField, std::move(id), std::move(label), state_.draft->signIn.*field,
                     std::move(placeholder),
                     [field](AccountDraft& draft, const Value& value) { draft.signIn.*field = value.stringValue(); });
    }

    FormControl port(std::string id, ServerDraft AccountDraft::*server) const {
        FormControl control =
            bound(Kind::Number, std::move(id), "Port", {}, {}, [server](AccountDraft& draft, const Value& value) {
                (draft.*server).port = static_cast<int>(value.integerValue());
            });
        control.value = ((*state_.draft).*server).port;
        control.minimum = 1;
        control.maximum = 65535;
        return control;
    }

    FormControl security(std::string id, ServerDraft AccountDraft::*server) const {
        FormControl control =
            bound(Kind::PopUp, std::move(id), "Encryption", {}, {}, [server](AccountDraft& draft, const Value& value) {
                (draft.*server).security = static_cast<TransportSecurity>(value.integerValue());
            });
        const auto option = [](const char* title, TransportSecurity security) {
            return FormOption{.title = title, .value = static_cast<int>(security)};
        };
        control.options = {option("TLS", TransportSecurity::Tls), option("STARTTLS", TransportSecurity::StartTls),
                           option("None (this computer only)", TransportSecurity::None)};
        control.value = static_cast<int>(((*state_.draft).*server).security);
        return control;
    }

    // What else is shown depends on it.
    FormControl check(std::string id, std::string label, bool AccountDraft::*field) const {
        FormControl control{.kind = Kind::CheckBox, .id = std::move(id), .label = std::move(label)};
        control.value = (*state_.draft).*field;
        control.enabled = state_.progress.empty();
        control.onChange = [draft = state_.draft, field, rebuild = state_.rebuild](const Value& value) {
            (*draft).*field = value.boolValue();
            rebuild();
        };
        return control;
    }

    FormControl progress() const {
        FormControl control{.kind = Kind::Text, .id = "progress"};
        control.value = state_.progress;
        control.hidden = state_.progress.empty();
        return control;
    }

private:
    template <class Store>
    FormControl bound(Kind kind, std::string id, std::string label, const std::string& value, std::string placeholder,
                      Store store) const {
        FormControl control{.kind = kind, .id = std::move(id), .label = std::move(label)};
        control.placeholder = std::move(placeholder);
        if (kind == Kind::Secret && !value.empty()) control.placeholder = "As entered";
        control.value = value;
        control.enabled = state_.progress.empty();
        if (const auto fault = state_.faults.find(control.id); fault != state_.faults.end())
            control.error = fault->second;
        control.onChange = [draft = state_.draft, store](const Value& changed) { store(*draft, changed); };
        return control;
    }

    const AccountFormState& state_;
};

FormControl kindControl(const AccountFormState& state) {
    FormControl control{.kind = Kind::Segmented, .id = "kind", .toolTip = "Where the mail is"};
    control.options = {{.title = "At a mail provider", .value = static_cast<int>(AccountKind::Imap)},
                       {.title = "In a folder on this computer", .value = static_cast<int>(AccountKind::Maildir)}};
    control.value = static_cast<int>(state.draft->kind);
    control.enabled = state.progress.empty();
    control.onChange = [draft = state.draft, rebuild = state.rebuild](const Value& value) {
        draft->kind = static_cast<AccountKind>(value.integerValue());
        draft->sends = draft->kind == AccountKind::Imap;
        draft->hasOwnOutgoingPassword = draft->kind != AccountKind::Imap;
        rebuild();
    };
    return control;
}

std::string passwordPlaceholder(const AccountDraft& draft, bool hasServer) {
    return !draft.isNew() && hasServer ? "As before" : std::string();
}

FormGroup accountGroup(const Controls& controls, const AccountFormState& state) {
    FormGroup group{.title = "Account", .note = {}, .controls = {}};
    group.controls.push_back(controls.text(Kind::TextField, "displayName", "Name in the list",
                                           &AccountDraft::displayName, state.draft->before.mainAddress()));
    FormControl senders{.kind = Kind::TextList, .id = "senders", .label = "Sends as"};
    senders.placeholder = "Name <address>";
    senders.value = Array(state.draft->senders.begin(), state.draft->senders.end());
    senders.enabled = state.progress.empty();
    if (const auto fault = state.faults.find("senders"); fault != state.faults.end()) senders.error = fault->second;
    senders.onChange = [draft = state.draft](const Value& value) {
        draft->senders.clear();
        for (const Value& each : value.array())
            draft->senders.push_back(each.stringValue());
    };
    group.controls.push_back(std::move(senders));
    group.note = "The first one is used unless you choose another when you write.";
    if (state.draft->kind == AccountKind::Maildir) group.note += " The mail is in " + state.draft->folder + ".";
    return group;
}

FormControl signInControl(const AccountFormState& state) {
    FormControl control{.kind = Kind::PopUp, .id = "signsIn", .label = "Sign in"};
    control.options = {{.title = "With a password", .value = false}, {.title = "In the browser", .value = true}};
    control.value = state.draft->signsInByBrowser;
    control.enabled = state.progress.empty();
    control.onChange = [draft = state.draft, rebuild = state.rebuild](const Value& value) {
        draft->signsInByBrowser = value.boolValue();
        rebuild();
    };
    return control;
}

FormGroup signInGroup(const Controls& controls, const AccountDraft& draft) {
    FormGroup group{.title = "Sign-in in the browser", .note = {}, .controls = {}};
    const bool wasThere = !draft.isNew() && draft.before.signIn;
    group.controls = {controls.text("clientIdentifier", "Client ID", &SignInPlace::clientIdentifier),
                      controls.text(Kind::Secret, "clientSecret", "Client secret", &AccountDraft::clientSecret,
                                    wasThere ? "As before" : "Empty if you were given none"),
                      controls.text("authorizePage", "Sign-in page", &SignInPlace::authorizePage, "https://"),
                      controls.text("tokenAddress", "Token address", &SignInPlace::tokenAddress, "https://"),
                      controls.text("scope", "Scope", &SignInPlace::scope)};
    group.note =
        "Providers let programs in that are registered with them. Register one there as a desktop program with "
        "the redirect address http://localhost, and enter its client ID here.";
    return group;
}

FormGroup incomingGroup(const Controls& controls, const AccountFormState& state) {
    const AccountDraft& draft = *state.draft;
    FormGroup group{.title = "Incoming mail (IMAP)", .note = {}, .controls = {}};
    const auto server = &AccountDraft::incoming;
    group.controls = {
        controls.text(Kind::TextField, "incomingHost", "Server", server, &ServerDraft::host, "imap.example.org"),
        controls.port("incomingPort", server), controls.security("incomingSecurity", server),
        controls.text(Kind::TextField, "incomingUser", "User name", server, &ServerDraft::user), signInControl(state)};
    if (!draft.signsInByBrowser)
        group.controls.push_back(controls.text(Kind::Secret, "incomingPassword", "Password", server,
                                               &ServerDraft::password,
                                               passwordPlaceholder(draft, draft.before.incoming.has_value())));
    return group;
}

FormGroup outgoingGroup(const Controls& controls, const AccountDraft& draft) {
    FormGroup group{.title = "Outgoing mail (SMTP)", .note = {}, .controls = {}};
    const auto server = &AccountDraft::outgoing;
    if (draft.kind != AccountKind::Imap)
        group.controls.push_back(controls.check("sends", "Send through a mail server", &AccountDraft::sends));
    if (!draft.sends) {
        group.note = "Without a server, mail goes to the other accounts of this program only.";
        return group;
    }
    for (FormControl& each : std::vector<FormControl>{
             controls.text(Kind::TextField, "outgoingHost", "Server", server, &ServerDraft::host, "smtp.example.org"),
             controls.port("outgoingPort", server), controls.security("outgoingSecurity", server),
             controls.text(Kind::TextField, "outgoingUser", "User name", server, &ServerDraft::user,
                           "Empty: no sign-in")})
        group.controls.push_back(std::move(each));
    if (draft.kind == AccountKind::Imap)
        group.controls.push_back(
            controls.check("ownPassword", "It has a password of its own", &AccountDraft::hasOwnOutgoingPassword));
    if (draft.kind != AccountKind::Imap || draft.hasOwnOutgoingPassword)
        group.controls.push_back(controls.text(Kind::Secret, "outgoingPassword", "Password", server,
                                               &ServerDraft::password,
                                               passwordPlaceholder(draft, draft.before.outgoing.has_value())));
    return group;
}

}  // namespace

std::vector<FormGroup> personGroups(const AccountFormState& state) {
    const Controls controls(state);
    FormGroup group{.title = {}, .note = {}, .controls = {kindControl(state)}};
    group.controls.push_back(
        controls.text(Kind::TextField, "name", "Your name", &AccountDraft::name, "As others shall see it"));
    group.controls.push_back(
        controls.text(Kind::TextField, "address", "Mail address", &AccountDraft::address, "name@example.org"));
    if (state.draft->kind == AccountKind::Maildir) {
        group.controls.push_back(
            controls.text(Kind::TextField, "folder", "Folder", &AccountDraft::folder, "/home/me/Maildir"));
        group.note =
            "A Maildir tree that other programs keep, such as mbsync or a mail server. Only what Maildir allows "
            "is changed in it.";
    } else {
        group.controls.push_back(
            controls.text(Kind::Secret, "password", "Password", &AccountDraft::incoming, &ServerDraft::password));
    }
    group.controls.push_back(controls.progress());
    return {std::move(group)};
}

std::vector<FormGroup> serverGroups(const AccountFormState& state) {
    const Controls controls(state);
    std::vector<FormGroup> groups;
    if (!state.draft->isNew()) groups.push_back(accountGroup(controls, state));
    if (state.draft->kind == AccountKind::Imap) groups.push_back(incomingGroup(controls, state));
    if (state.draft->asksBrowser()) groups.push_back(signInGroup(controls, *state.draft));
    groups.push_back(outgoingGroup(controls, *state.draft));
    groups.push_back({.title = {}, .note = {}, .controls = {controls.progress()}});
    return groups;
}

}  // namespace qs
