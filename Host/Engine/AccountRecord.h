// One account of the person's: who writes, where its mail comes from and how it leaves. Plain data, without secrets:
// passwords and tokens come from AccountSecrets.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Accounts/BrowserSignIn.h"
#include "Smtp/SubmissionServer.h"

namespace qs {

enum class AccountKind {
    Local,   // a Maildir tree of ours, filled by the other accounts or by programs of the person's
    Imap,    // a Maildir tree of ours, kept in step with `incoming`
    Maildir  // a Maildir tree of the person's, at `maildir`; see MailboxLayout for what may be written there
};

struct MailIdentity {
    std::string name, address;  // the address bare
    auto operator<=>(const MailIdentity&) const = default;
};

// Where mail is fetched with IMAP.
struct IncomingServer {
    std::string host;
    int port = 993;
    TransportSecurity security = TransportSecurity::Tls;
    std::string user;
    ServerAuthentication authentication = ServerAuthentication::Password;
    std::vector<std::string> passwordCommand;  // empty: the keychain
    std::string certificateAuthorities;        // a PEM file to trust instead of the system's; empty for the system's
};

struct AccountRecord {
    std::string identifier;  // letters, digits, "-"; also the name of the mail's folder
    std::string displayName = {};
    AccountKind kind = AccountKind::Local;
    bool isEnabled = true;                      // off: neither shown nor fetched nor sent from; all its mail stays
    std::vector<MailIdentity> identities = {};  // the first is the main one
    std::filesystem::path maildir = {};         // of kind Maildir: absolute
    std::optional<IncomingServer> incoming = {};
    std::optional<SubmissionServer> outgoing = {};  // none: delivers to the other accounts of the program only
    // Where it signs in by the browser; for servers whose authentication is XOAuth2.
    std::optional<SignInPlace> signIn = {};
    // The outgoing server has a password of its own. Else it takes that of the incoming one, if there is one.
    bool hasOwnOutgoingPassword = false;

    // Of the main identity; empty for none.
    std::string fullName() const { return identities.empty() ? std::string() : identities.front().name; }
    std::string mainAddress() const { return identities.empty() ? std::string() : identities.front().address; }
    std::vector<std::string> addresses() const {
        std::vector<std::string> all;
        for (const MailIdentity& each : identities)
            all.push_back(each.address);
        return all;
    }
};

}  // namespace qs
