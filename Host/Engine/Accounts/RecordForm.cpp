#include "Accounts/RecordForm.h"

#include <algorithm>

#include "AccountRecord.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"

namespace qs {

namespace {

constexpr std::size_t kLongestIdentifier = 64;
constexpr const char* kKindNames[] = {"local", "imap", "maildir"};

const char* nameOf(TransportSecurity security) {
    switch (security) {
    case TransportSecurity::None: return "none";
    case TransportSecurity::StartTls: return "starttls";
    case TransportSecurity::Tls: return "tls";
    }
    return "starttls";
}

// What is not known is taken for the safe form.
TransportSecurity securityNamed(const std::string& name) {
    if (name == "none") return TransportSecurity::None;
    return name == "tls" ? TransportSecurity::Tls : TransportSecurity::StartTls;
}

Value valueOf(const SignInPlace& place) {
    return Dictionary{{"AuthorizePage", place.authorizePage},
                      {"TokenAddress", place.tokenAddress},
                      {"Scope", place.scope},
                      {"ClientIdentifier", place.clientIdentifier}};
}

SignInPlace signInFrom(const Value& value) {
    return {.authorizePage = value["AuthorizePage"].stringValue(),
            .tokenAddress = value["TokenAddress"].stringValue(),
            .scope = value["Scope"].stringValue(),
            .clientIdentifier = value["ClientIdentifier"].stringValue()};
}

Array listOf(const std::vector<std::string>& texts) { return {texts.begin(), texts.end()}; }

std::vector<std::string> textsIn(const Value& list) {
    std::vector<std::string> texts;
    for (const Value& each : list.array())
        texts.push_back(each.stringValue());
    return texts;
}

// Of both kinds of servers, which have these fields in common.
template <class Server>
Dictionary serverValue(const Server& server) {
    Dictionary value{
        {"Host", server.host}, {"Port", server.port}, {"Security", nameOf(server.security)}, {"User", server.user}};
    if (server.authentication == ServerAuthentication::XOAuth2) value["Authentication"] = "xoauth2";
    if (!server.passwordCommand.empty()) value["PasswordCommand"] = listOf(server.passwordCommand);
    if (!server.certificateAuthorities.empty()) value["CertificateAuthorities"] = server.certificateAuthorities;
    return value;
}

template <class Server>
Server serverFrom(const Value& value) {
    Server server;
    server.host = value["Host"].stringValue();
    if (const auto port = value["Port"].integerValue(); port > 0 && port < 65536) server.port = static_cast<int>(port);
    if (!value["Security"].isNil()) server.security = securityNamed(value["Security"].stringValue());
    server.user = value["User"].stringValue();
    if (value["Authentication"].stringValue() == "xoauth2") server.authentication = ServerAuthentication::XOAuth2;
    server.passwordCommand = textsIn(value["PasswordCommand"]);
    server.certificateAuthorities = value["CertificateAuthorities"].stringValue();
    return server;
}

// Earlier versions, and who writes the file by hand, have one name and several addresses.
std::vector<MailIdentity> identitiesFrom(const Value& value) {
    std::vector<MailIdentity> identities;
    for (const Value& each : value["Identities"].array())
        identities.push_back({each["Name"].stringValue(), each["Address"].stringValue()});
    if (identities.empty())
        for (const std::string& address : textsIn(value["Addresses"]))
            identities.push_back({value["FullName"].stringValue(), address});
    return identities;
}

Result<AccountKind> kindFrom(const Value& value) {
    if (value.isNil()) return AccountKind::Local;
    const auto found = std::ranges::find(kKindNames, value.stringValue());
    if (found == std::end(kKindNames))
        return failure(kAccountBookErrorDomain, kAccountDamaged,
                       "“" + value.stringValue() + "” is no kind of account that this version knows.");
    return static_cast<AccountKind>(found - std::begin(kKindNames));
}

bool isIdentifier(const std::string& text) {
    return !text.empty() && text.size() <= kLongestIdentifier && text.front() != '-' &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-'; });
}

template <class Server>
bool canBeReached(const std::optional<Server>& server) {
    return !server || (!server->host.empty() && server->port > 0 && server->port < 65536);
}

}  // namespace

Value valueOf(const AccountRecord& record) {
    Array identities;
    for (const MailIdentity& each : record.identities)
        identities.push_back(Dictionary{{"Name", each.name}, {"Address", each.address}});
    Dictionary value{{"Identifier", record.identifier},
                     {"DisplayName", record.displayName},
                     {"Kind", kKindNames[static_cast<int>(record.kind)]},
                     {"Identities", std::move(identities)}};
    if (!record.isEnabled) value["Enabled"] = false;
    if (!record.maildir.empty()) value["Maildir"] = record.maildir.string();
    if (record.incoming) value["Incoming"] = serverValue(*record.incoming);
    if (record.outgoing) value["Outgoing"] = serverValue(*record.outgoing);
    if (record.signIn) value["SignIn"] = valueOf(*record.signIn);
    if (record.hasOwnOutgoingPassword) value["OwnOutgoingPassword"] = true;
    return value;
}

Result<AccountRecord> accountRecordFrom(const Value& value) {
    const auto kind = kindFrom(value["Kind"]);
    if (!kind) return failed(kind);
    AccountRecord record{.identifier = value["Identifier"].stringValue(),
                         .displayName = value["DisplayName"].stringValue(),
                         .kind = *kind,
                         .isEnabled = value["Enabled"].isNil() || value["Enabled"].boolValue(),
                         .identities = identitiesFrom(value),
                         .maildir = value["Maildir"].stringValue(),
                         .incoming = {},
                         .outgoing = {},
                         .signIn = {},
                         .hasOwnOutgoingPassword = value["OwnOutgoingPassword"].boolValue()};
    if (!value["Incoming"].isNil()) record.incoming = serverFrom<IncomingServer>(value["Incoming"]);
    const Value& outgoing = value["Outgoing"].isNil() ? value["Server"] : value["Outgoing"];
    if (!outgoing.isNil()) record.outgoing = serverFrom<SubmissionServer>(outgoing);
    if (!value["SignIn"].isNil()) record.signIn = signInFrom(value["SignIn"]);
    if (const auto checked = checkAccount(record); !checked) return failed(checked);
    return record;
}

Result<void> checkAccount(const AccountRecord& record) {
    if (!isIdentifier(record.identifier))
        return failure(kAccountBookErrorDomain, kInvalidIdentifier,
                       "An account's identifier consists of letters, digits and “-”.");
    if (record.identities.empty())
        return failure(kAccountBookErrorDomain, kInvalidAddress, "An account needs at least one address.");
    for (const MailIdentity& each : record.identities)
        if (!isDeliverableAddress(each.address))
            return failure(kAccountBookErrorDomain, kInvalidAddress, "“" + each.address + "” is no mail address.");
    const bool needsIncoming = record.kind == AccountKind::Imap;
    if (!canBeReached(record.incoming) || !canBeReached(record.outgoing) || (needsIncoming && !record.incoming))
        return failure(kAccountBookErrorDomain, kInvalidServer, "The mail server needs a host name and a port.");
    if (record.kind == AccountKind::Maildir && !record.maildir.is_absolute())
        return failure(kAccountBookErrorDomain, kInvalidFolder,
                       "The folder of the mail needs its whole path, from “/” on.");
    return {};
}

}  // namespace qs
