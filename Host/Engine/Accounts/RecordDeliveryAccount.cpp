#include "Accounts/RecordDeliveryAccount.h"

#include "Accounts/AccountSecrets.h"
#include "Keychain/Keychain.h"
#include "Reachability/NetworkState.h"

namespace qs {

std::string RecordDeliveryAccount::hostname() const { return record_.outgoing ? record_.outgoing->host : ""; }

std::string RecordDeliveryAccount::username() const { return record_.outgoing ? record_.outgoing->user : ""; }

Result<std::string> RecordDeliveryAccount::password() const {
    if (!record_.outgoing || record_.outgoing->authentication != ServerAuthentication::Password) return std::string();
    auto secret = account_secrets::secretFor(record_, ServerSide::Outgoing);
    if (!secret && keychainError(secret.error()) == KeychainError::Missing) return std::string();
    return secret;
}

bool RecordDeliveryAccount::usesSSL() const {
    return record_.outgoing && record_.outgoing->security == TransportSecurity::Tls;
}

std::optional<int> RecordDeliveryAccount::portNumberObject() const {
    return record_.outgoing ? std::optional(record_.outgoing->port) : std::nullopt;
}

bool RecordDeliveryAccount::allowsOpenConnection() const {
    return record_.outgoing && record_.outgoing->security == TransportSecurity::None &&
           isOwnHost(record_.outgoing->host);
}

std::filesystem::path RecordDeliveryAccount::certificateAuthorities() const {
    return record_.outgoing ? record_.outgoing->certificateAuthorities : "";
}

}  // namespace qs
