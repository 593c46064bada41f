#include "Accounts/AccountDraft.h"

#include "Accounts/AccountSecrets.h"
#include "Mime/Addresses.h"
#include "Reachability/NetworkState.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Url.h"

namespace qs {

namespace {

constexpr int kImapsPort = 993, kSubmissionsPort = 465, kSubmissionPort = 587;

std::string trimmed(const std::string& text) { return std::string(trimmedAscii(text)); }

template <class Server>
ServerDraft draftOf(const Server& server) {
    return {.host = server.host, .port = server.port, .security = server.security, .user = server.user, .password = {}};
}

// Keeps what no field shows: a password command, certificates.
template <class Server>
Server serverFrom(const ServerDraft& draft, const std::optional<Server>& before) {
    Server server = before.value_or(Server());
    server.host = trimmed(draft.host);
    server.port = draft.port;
    server.security = draft.security;
    server.user = trimmed(draft.user);
    if (!draft.password.empty()) server.passwordCommand.clear();
    return server;
}

void addServerFaults(DraftFaults& faults, const std::string& side, const ServerDraft& server) {
    const std::string host = trimmed(server.host);
    if (host.empty())
        faults[side + "Host"] = "Please enter the name of the server.";
    else if (host.find_first_of(" /@\t") != std::string::npos)
        faults[side + "Host"] = "This is no name of a server. It looks like “mail.example.org”.";
    if (server.port < 1 || server.port > 65535) faults[side + "Port"] = "A port is a number from 1 to 65535.";
}

void addSignInFaults(DraftFaults& faults, const SignInPlace& place) {
    const auto isSafe = [](const std::string& address) {
        const auto url = Url::parse(trimmed(address));
        if (!url || !url->host() || url->host()->empty()) return false;
        return url->scheme() == "https" || (url->scheme() == "http" && isOwnHost(*url->host()));
    };
    for (const auto& [control, address] :
         {std::pair("authorizePage", place.authorizePage), std::pair("tokenAddress", place.tokenAddress)})
        if (!isSafe(address)) faults[control] = "Please enter an address that begins with “https://”.";
    if (trimmed(place.clientIdentifier).empty())
        faults["clientIdentifier"] = "Please enter the client ID that the provider gave for this program.";
}

std::vector<MailIdentity> identitiesIn(const std::vector<std::string>& senders) {
    std::vector<MailIdentity> identities;
    for (const std::string& sender : senders)
        for (const MailAddress& each : parseAddresses(sender))
            identities.push_back({each.name, each.address});
    return identities;
}

}  // namespace

AccountDraft AccountDraft::of(const AccountRecord& record) {
    AccountDraft draft;
    draft.kind = record.kind;
    draft.displayName = record.displayName;
    draft.name = record.fullName();
    draft.address = record.mainAddress();
    draft.folder = record.maildir.string();
    for (const MailIdentity& each : record.identities)
        draft.senders.push_back(MailAddress{each.name, each.address}.display());
    if (record.incoming) draft.incoming = draftOf(*record.incoming);
    draft.sends = record.outgoing.has_value();
    if (record.outgoing) draft.outgoing = draftOf(*record.outgoing);
    draft.signsInByBrowser = record.incoming && record.incoming->authentication == ServerAuthentication::XOAuth2;
    draft.signIn = record.signIn.value_or(SignInPlace());
    draft.hasOwnOutgoingPassword = record.hasOwnOutgoingPassword || !record.incoming;
    draft.before = record;
    return draft;
}

void AccountDraft::takeSettings(const FoundSettings& found) {
    const auto take = [&](ServerDraft& server, const std::optional<ServerPlace>& place, int usualPort) {
        server.host = place ? place->host : std::string();
        server.port = place ? place->port : usualPort;
        server.security = place ? place->security : TransportSecurity::Tls;
        server.user = trimmed(address);
    };
    take(incoming, found.incoming, kImapsPort);
    take(outgoing, found.outgoing, kSubmissionsPort);
    signsInByBrowser = found.signIn == ProviderSignIn::Browser;
    signIn = found.browser.value_or(SignInPlace());
    clientSecret.clear();
    outgoing.password.clear();
    hasOwnOutgoingPassword = false;
    settingsAreOf = trimmed(address);
    if (!found.outgoing) {
        outgoing.port = kSubmissionPort;
        outgoing.security = TransportSecurity::StartTls;
    }
}

bool AccountDraft::hasSettings() {
    const std::string now = trimmed(address);
    const auto domain = [](const std::string& whole) { return whole.substr(whole.rfind('@') + 1); };
    if (settingsAreOf.empty() || !equalsIgnoringCase(domain(settingsAreOf), domain(now))) return false;
    for (ServerDraft* server : {&incoming, &outgoing})
        if (trimmed(server->user) == settingsAreOf) server->user = now;
    settingsAreOf = now;
    return true;
}

DraftFaults AccountDraft::faultsOfPerson() const {
    DraftFaults faults;
    const std::string bare = trimmed(address);
    if (bare.empty())
        faults["address"] = "Please enter your mail address.";
    else if (!isDeliverableAddress(bare))
        faults["address"] = "This is no mail address. It looks like “name@example.org”.";
    if (kind == AccountKind::Maildir) {
        const std::filesystem::path path = trimmed(folder);
        if (path.empty())
            faults["folder"] = "Please enter the folder that the mail is in.";
        else if (!path.is_absolute())
            faults["folder"] = "Please enter the whole path, from “/” on.";
    }
    return faults;
}

DraftFaults AccountDraft::faults() const {
    DraftFaults faults;
    if (isNew()) {
        faults = faultsOfPerson();
    } else {
        const auto identities = identitiesIn(senders);
        if (identities.empty()) faults["senders"] = "An account needs at least one address.";
        for (const MailIdentity& each : identities)
            if (!isDeliverableAddress(each.address))
                faults["senders"] =
                    "“" + (each.address.empty() ? each.name : each.address) +
                    "” is no mail address. Write “Ada Lovelace <ada@example.org>”, or the address alone.";
    }
    if (kind == AccountKind::Imap) addServerFaults(faults, "incoming", incoming);
    if (sends) addServerFaults(faults, "outgoing", outgoing);
    if (asksBrowser()) addSignInFaults(faults, signIn);
    return faults;
}

AccountRecord AccountDraft::record() const {
    AccountRecord record = before;
    record.kind = kind;
    record.identities = isNew() ? std::vector<MailIdentity>{{trimmed(name), trimmed(address)}} : identitiesIn(senders);
    record.displayName = trimmed(displayName).empty() ? record.mainAddress() : trimmed(displayName);
    record.maildir = kind == AccountKind::Maildir ? std::filesystem::path(trimmed(folder)) : std::filesystem::path();
    if (kind == AccountKind::Imap)
        record.incoming = serverFrom(incoming, before.incoming);
    else
        record.incoming.reset();
    ServerDraft sender = outgoing;
    if (!asksOutgoingPassword()) sender.password.clear();
    if (sends)
        record.outgoing = serverFrom(sender, before.outgoing);
    else
        record.outgoing.reset();
    record.hasOwnOutgoingPassword = sends && record.incoming && hasOwnOutgoingPassword;
    if (kind != AccountKind::Imap) return record;
    using enum ServerAuthentication;
    record.incoming->authentication = signsInByBrowser ? XOAuth2 : Password;
    if (record.outgoing) {
        record.outgoing->authentication = signsInByBrowser && !hasOwnOutgoingPassword ? XOAuth2 : Password;
        if (record.outgoing->authentication == XOAuth2) record.outgoing->passwordCommand.clear();
    }
    record.signIn.reset();
    if (signsInByBrowser)
        record.signIn = SignInPlace{.authorizePage = trimmed(signIn.authorizePage),
                                    .tokenAddress = trimmed(signIn.tokenAddress),
                                    .scope = trimmed(signIn.scope),
                                    .clientIdentifier = trimmed(signIn.clientIdentifier)};
    return record;
}

std::string controlFor(const AccountFault& fault) {
    const std::string side = fault.side == ServerSide::Incoming ? "incoming" : "outgoing";
    switch (fault.field) {
    case AccountFault::Field::Security: return side + "Security";
    case AccountFault::Field::User: return side + "User";
    case AccountFault::Field::Host:
    case AccountFault::Field::Other: break;
    }
    return side + "Host";
}

}  // namespace qs
