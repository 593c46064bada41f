// The servers of a mail address: from the table of providers, else from the domain's DNS (RFC 6186, RFC 8314), else by
// trying names that many domains use. What none of these knows, the person is asked for.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Accounts/ProviderTable.h"
#include "Dns/ServiceRecords.h"

namespace qs {

struct FoundSettings {
    enum class Source { Nothing, Table, ServiceRecords, Guess };
    Source source = Source::Nothing;
    std::optional<ServerPlace> incoming, outgoing;
    // Every host belongs to the provider or to the address's own domain. Otherwise whoever answers for DNS chose it,
    // and the person should see it before a password goes there.
    bool isTrusted = false;
    ProviderSignIn signIn = ProviderSignIn::Password;
    std::optional<SignInPlace> browser;
    std::string hint;
};

struct DiscoveryPorts {
    ServiceLookup services;
    // Whether a mail server with a valid certificate answers there, encrypted as the place says.
    std::function<bool(const ServerPlace&, bool isIncoming)> answers;
    static DiscoveryPorts system();
};

// Blocks for up to about a minute where neither name server nor mail servers answer; never on the main thread. Ends
// early, with what it has, once `isCancelled` says so.
FoundSettings discoverSettings(std::string_view address, const ProviderTable& table, const DiscoveryPorts& ports,
                               const std::function<bool()>& isCancelled);

}  // namespace qs
