#include "Accounts/SettingsDiscovery.h"

#include <future>

#include "Smtp/SmtpTransport.h"
#include "Text/Ascii.h"
#include "Transport/SecureStream.h"

namespace qs {

namespace {

constexpr TimeInterval kProbeSeconds = 5;

struct Service {
    const char* name;
    TransportSecurity security;
};
// Encryption from the first byte goes before STARTTLS (RFC 8314, 3).
constexpr Service kIncoming[] = {{"_imaps._tcp.", TransportSecurity::Tls},
                                 {"_imap._tcp.", TransportSecurity::StartTls}};
constexpr Service kOutgoing[] = {{"_submissions._tcp.", TransportSecurity::Tls},
                                 {"_submission._tcp.", TransportSecurity::StartTls}};

template <std::size_t n>
std::optional<ServerPlace> recorded(const Service (&services)[n], const std::string& domain,
                                    const ServiceLookup& lookUp, const std::function<bool()>& isCancelled) {
    for (const Service& service : services) {
        if (isCancelled()) return {};
        const auto records = lookUp(service.name + domain);
        if (records && !records->empty())
            return ServerPlace{records->front().host, records->front().port, service.security};
    }
    return {};
}

// All at once, and the first in the order of the list counts.
std::optional<ServerPlace> answering(const std::vector<ServerPlace>& places, bool isIncoming,
                                     const DiscoveryPorts& ports) {
    std::vector<std::future<bool>> answers;
    answers.reserve(places.size());
    for (const ServerPlace& place : places)
        answers.push_back(
            std::async(std::launch::async, [&ports, &place, isIncoming] { return ports.answers(place, isIncoming); }));
    std::optional<ServerPlace> found;
    for (std::size_t i = 0; i < places.size(); ++i)
        if (answers[i].get() && !found) found = places[i];
    return found;
}

bool belongsTo(const std::string& host, const std::string& domain) {
    const std::string lowered = asciiLowered(host);
    return lowered == domain || lowered.ends_with("." + domain);
}

bool answersForReal(const ServerPlace& place, bool isIncoming) {
    if (!isIncoming) {
        SubmissionServer server;
        server.host = place.host;
        server.port = place.port;
        server.security = place.security;
        return checkSmtp(server, {.seconds = kProbeSeconds, .isCancelled = {}}).has_value();
    }
    SecureStream stream;
    return stream.connect(place.host, place.port, kProbeSeconds) && stream.startTls(place.host, {}, kProbeSeconds);
}

}  // namespace

DiscoveryPorts DiscoveryPorts::system() { return {systemServiceLookup(), answersForReal}; }

FoundSettings discoverSettings(std::string_view address, const ProviderTable& table, const DiscoveryPorts& ports,
                               const std::function<bool()>& isCancelled) {
    using Source = FoundSettings::Source;
    const std::string domain = asciiLowered(address.substr(address.rfind('@') + 1));
    if (const Provider* provider = table.forDomain(domain))
        return {Source::Table,    provider->imap,    provider->smtp, true,
                provider->signIn, provider->browser, provider->hint};

    FoundSettings found;
    found.incoming = recorded(kIncoming, domain, ports.services, isCancelled);
    found.outgoing = recorded(kOutgoing, domain, ports.services, isCancelled);
    if (found.incoming || found.outgoing) found.source = Source::ServiceRecords;
    if (!found.incoming && !isCancelled())
        found.incoming = answering({{"imap." + domain, 993}, {"mail." + domain, 993}, {domain, 993}}, true, ports);
    if (!found.outgoing && !isCancelled())
        found.outgoing = answering({{"smtp." + domain, 465},
                                    {"smtp." + domain, 587, TransportSecurity::StartTls},
                                    {"mail." + domain, 465},
                                    {"mail." + domain, 587, TransportSecurity::StartTls},
                                    {domain, 465}},
                                   false, ports);
    if (found.source == Source::Nothing && (found.incoming || found.outgoing)) found.source = Source::Guess;
    found.isTrusted = found.incoming && found.outgoing && belongsTo(found.incoming->host, domain) &&
                      belongsTo(found.outgoing->host, domain);
    return found;
}

}  // namespace qs
