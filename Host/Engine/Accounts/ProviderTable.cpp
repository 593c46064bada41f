#include "Accounts/ProviderTable.h"

#include <charconv>

#include "Foundation/Assertion.h"
#include "Foundation/Json.h"
#include "Text/Ascii.h"

extern const char* const quillsteadMailProviders;  // made from Providers.json by the build

namespace qs {

namespace {

tl::unexpected<Error> invalid(const std::string& what) { return failure("ProviderTable", 1, what); }

// "imap.example.org:993 tls"
std::optional<ServerPlace> placeIn(const std::string& text) {
    const auto colon = text.find(':'), blank = text.find(' ');
    if (colon == std::string::npos || blank == std::string::npos || colon == 0 || blank < colon) return {};
    ServerPlace place{.host = text.substr(0, colon)};
    const char* const end = text.data() + blank;
    if (std::from_chars(text.data() + colon + 1, end, place.port).ptr != end || place.port < 1 || place.port > 65535)
        return {};
    const std::string security = text.substr(blank + 1);
    if (security != "tls" && security != "starttls") return {};
    place.security = security == "tls" ? TransportSecurity::Tls : TransportSecurity::StartTls;
    return place;
}

std::optional<ProviderSignIn> signInNamed(const Value& value) {
    const std::string name = value.stringValue();
    if (value.isNil() || name == "password") return ProviderSignIn::Password;
    if (name == "appPassword") return ProviderSignIn::AppPassword;
    return name == "browser" ? std::optional(ProviderSignIn::Browser) : std::nullopt;
}

}  // namespace

Result<ProviderTable> ProviderTable::parse(std::string_view json) {
    const auto list = parseJson(json);
    if (!list) return failed(list);
    ProviderTable table;
    for (const Value& value : list->array()) {
        Provider provider{.domains = {}, .imap = {}, .smtp = {}, .hint = value["hint"].stringValue()};
        for (const Value& domain : value["domains"].array())
            provider.domains.push_back(domain.stringValue());
        if (provider.domains.empty()) return invalid("A provider has no domains.");
        const auto imap = placeIn(value["imap"].stringValue()), smtp = placeIn(value["smtp"].stringValue());
        const auto signIn = signInNamed(value["signIn"]);
        if (!imap || !smtp || !signIn) return invalid("The entry of " + provider.domains.front() + " is not whole.");
        provider.imap = *imap;
        provider.smtp = *smtp;
        provider.signIn = *signIn;
        if (const Value& browser = value["browser"]; !browser.isNil())
            provider.browser = SignInPlace{.authorizePage = browser["authorize"].stringValue(),
                                           .tokenAddress = browser["token"].stringValue(),
                                           .scope = browser["scope"].stringValue(),
                                           .clientIdentifier = browser["clientId"].stringValue()};
        if (provider.signIn == ProviderSignIn::Browser && !provider.browser)
            return invalid("It is not told where " + provider.domains.front() + " signs in.");
        table.providers_.push_back(std::move(provider));
    }
    return table;
}

const ProviderTable& ProviderTable::builtIn() {
    static const ProviderTable table = [] {
        auto parsed = parse(quillsteadMailProviders);
        assertThat(parsed.has_value(), "The table of providers is damaged");
        return std::move(*parsed);
    }();
    return table;
}

const Provider* ProviderTable::forDomain(std::string_view domain) const {
    for (const Provider& provider : providers_)
        for (const std::string& each : provider.domains)
            if (equalsIgnoringCase(each, domain)) return &provider;
    return nullptr;
}

}  // namespace qs
