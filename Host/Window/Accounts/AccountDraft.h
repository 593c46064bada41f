// What a person types about an account, before it is one: texts as they stand in the fields.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "AccountRecord.h"
#include "Accounts/AccountCheck.h"
#include "Accounts/SettingsDiscovery.h"

namespace qs {

struct ServerDraft {
    std::string host;
    int port = 0;
    TransportSecurity security = TransportSecurity::Tls;
    std::string user, password;  // the password empty: as before
};

// What is wrong, by the identifier of the control that it stands next to.
using DraftFaults = std::map<std::string, std::string>;

struct AccountDraft {
    AccountKind kind = AccountKind::Imap;
    std::string displayName, name, address, folder;
    std::vector<std::string> senders;  // "Ada Lovelace <ada@example.org>"; in place of name and address when editing
    ServerDraft incoming{.port = 993}, outgoing{.port = 465};
    bool sends = true;  // through `outgoing`; else to the other accounts of the program only
    bool hasOwnOutgoingPassword = false;
    bool signsInByBrowser = false;  // in place of a password at the incoming server
    SignInPlace signIn;
    std::string clientSecret;        // empty: as before at the same provider, or none
    AccountRecord before;            // what is edited; without an identifier when it is new
    std::string settingsAreOf = {};  // the address that settings were taken for

    static AccountDraft of(const AccountRecord& record);
    bool isNew() const { return before.identifier.empty(); }
    bool asksBrowser() const { return kind == AccountKind::Imap && signsInByBrowser; }
    // The field for it is shown; what stands in a hidden one does not count.
    bool asksOutgoingPassword() const { return sends && (kind != AccountKind::Imap || hasOwnOutgoingPassword); }
    // For the address as it stands. What was typed for the provider of another one goes.
    void takeSettings(const FoundSettings& found);
    // Whether the settings are those of this address, or of another one of the same domain. Then the user names follow.
    bool hasSettings();
    // Faults of what the person is asked first: who they are.
    DraftFaults faultsOfPerson() const;
    DraftFaults faults() const;  // of everything
    // Under the identifier of `before`. Only for a draft without faults.
    AccountRecord record() const;
};

// Where in the form a fault of a check belongs.
std::string controlFor(const AccountFault& fault);

}  // namespace qs
