#include "Configuration.h"

#include <array>
#include <charconv>
#include <set>

#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Url.h"

namespace qs {

namespace {

struct Target {
    BackendConfiguration& configuration;
    const std::filesystem::path& folder;
    std::string_view value;
};

// One setting: what it does with its value, or false for a value that makes no sense.
struct Setting {
    std::string_view section, name, example, help;
    bool (*take)(const Target& target);
};

template <int BackendConfiguration::*member, int least, int most>
bool number(const Target& target) {
    int& taken = target.configuration.*member;
    const char* end = target.value.data() + target.value.size();
    const auto [stop, error] = std::from_chars(target.value.data(), end, taken);
    return error == std::errc() && stop == end && taken >= least && taken <= most;
}

template <std::string BackendConfiguration::*member>
bool text(const Target& target) {
    target.configuration.*member = target.value;
    return true;
}

template <std::filesystem::path BackendConfiguration::*member>
bool path(const Target& target) {
    target.configuration.*member = target.value.empty() ? std::filesystem::path() : target.folder / target.value;
    return true;
}

std::vector<std::string> wordsOf(std::string_view text, std::string_view separators) {
    std::vector<std::string> words;
    while (!text.empty()) {
        const auto end = std::min(text.find_first_of(separators), text.size());
        if (const auto word = trimmedAscii(text.substr(0, end)); !word.empty()) words.emplace_back(word);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

template <std::vector<std::string> BackendConfiguration::*member>
bool list(const Target& target) {
    target.configuration.*member = wordsOf(target.value, ",");
    return !(target.configuration.*member).empty();
}

bool takeBaseUrl(const Target& target) {
    const auto url = Url::parse(target.value);
    if (!url || !url->host() || url->query() || url->fragment()) return false;
    if (url->scheme() != "https" && url->scheme() != "http") return false;
    std::string& base = target.configuration.baseUrl;
    base = target.value;
    while (base.ends_with('/'))
        base.pop_back();
    return true;
}

bool takeClientKey(const Target& target) {
    const auto isDigit = [](char c) { return hexDigitValue(c) >= 0 && c == asciiLower(c); };
    target.configuration.clientKey = target.value;
    return target.value.size() == 32 && std::all_of(target.value.begin(), target.value.end(), isDigit);
}

bool takeMailFrom(const Target& target) {
    target.configuration.mailFrom = target.value;
    return isDeliverableAddress(target.value);
}

bool takeSmtpHost(const Target& target) {
    target.configuration.smtp.host = target.value;
    return !target.value.empty();
}

bool takeSmtpPort(const Target& target) {
    BackendConfiguration parsed;
    if (!number<&BackendConfiguration::port, 1, 65535>({parsed, target.folder, target.value})) return false;
    target.configuration.smtp.port = parsed.port;
    return true;
}

bool takeSmtpSecurity(const Target& target) {
    TransportSecurity& security = target.configuration.smtp.security;
    if (target.value == "tls")
        security = TransportSecurity::Tls;
    else if (target.value == "starttls")
        security = TransportSecurity::StartTls;
    else if (target.value == "none")
        security = TransportSecurity::None;
    else
        return false;
    return true;
}

bool takeSmtpUser(const Target& target) {
    target.configuration.smtp.user = target.value;
    return true;
}

bool takeSmtpPasswordCommand(const Target& target) {
    target.configuration.smtp.passwordCommand = wordsOf(target.value, " ");
    return !target.value.empty();
}

bool takeAddressDetail(const Target& target) {
    AddressDetail& detail = target.configuration.addressDetail;
    if (target.value == "none")
        detail = AddressDetail::None;
    else if (target.value == "short")
        detail = AddressDetail::Shortened;
    else if (target.value == "full")
        detail = AddressDetail::Full;
    else
        return false;
    return true;
}

using B = BackendConfiguration;
constexpr std::array kSettings = {
    Setting{"server", "listen", "127.0.0.1", "addresses to listen on, parted by commas", list<&B::listenAddresses>},
    Setting{"server", "port", "8025", "a reverse proxy with TLS stands before it", number<&B::port, 0, 65535>},
    Setting{"server", "base_url", "https://backend.example.org",
            "as the world reaches this server; in letters and pages", takeBaseUrl},
    Setting{"server", "client_key", "0123456789abcdef0123456789abcdef",
            "what plug-ins say in X-Authorization; without it any will do", takeClientKey},
    Setting{"server", "trusted_proxies", "127.0.0.1, ::1",
            "whose X-Forwarded-For tells the address of the client; without it nobody's", list<&B::trustedProxies>},
    Setting{"server", "connections", "1024", "more at a time are closed", number<&B::mostConnections, 1, 100000>},
    Setting{"server", "metrics_port", "9025", "on the loopback interface, at /metrics; 0 for none",
            number<&B::metricsPort, 0, 65535>},
    Setting{"database", "file", "/var/lib/quillstead-backend/backend.sqlite", "SQLite; enough for hundreds of users",
            path<&B::databaseFile>},
    Setting{"database", "postgresql", "host=/run/postgresql dbname=quillstead",
            "for many users: libpq's connection text, instead of a file", text<&B::postgres>},
    Setting{"database", "connections", "8", "to PostgreSQL, at most", number<&B::postgresConnections, 1, 100>},
    Setting{"mail", "from", "quillstead@example.org", "the sender of letters", takeMailFrom},
    Setting{"mail", "smtp_host", "smtp.example.org", "who takes the letters", takeSmtpHost},
    Setting{"mail", "smtp_port", "587", "", takeSmtpPort},
    Setting{"mail", "smtp_security", "starttls", "or tls, or none", takeSmtpSecurity},
    Setting{"mail", "smtp_user", "quillstead", "", takeSmtpUser},
    Setting{"mail", "smtp_password_command", "cat /etc/quillstead-backend/smtp-password",
            "prints the password; no secret stands in this file", takeSmtpPasswordCommand},
    Setting{"mail", "folder", "/var/lib/quillstead-backend/letters",
            "a Maildir to put letters into, when there is no smtp_host", path<&B::mailFolder>},
    Setting{"tracking", "places", "/var/lib/GeoIP/GeoLite2-City.mmdb",
            "a database of places in the MaxMind DB format; without it no open has a place", path<&B::placeDatabase>},
    Setting{"tracking", "addresses", "short", "what is kept of readers' addresses: none, short or full",
            takeAddressDetail},
    Setting{"tracking", "keep_days", "400", "how long opens are kept, and pixels after their last change",
            number<&B::keepDays, 31, 100000>},
    Setting{"signatures", "folder", "/usr/share/quillstead-backend/templates",
            "templates for signatures, a .mustache file each", path<&B::templateFolder>},
    Setting{"about", "contact", "postmaster@example.org", "shown on the page of terms", text<&B::operatorContact>},
};

tl::unexpected<Error> wrongLine(int line, const std::string& what) {
    return failure("BackendConfiguration", line, "Line " + std::to_string(line) + " of the configuration: " + what);
}

Result<void> takeLine(int line, std::string_view text, std::string_view section, const Target& target) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) return wrongLine(line, "\"name = value\" is missing.");
    const auto name = trimmedAscii(text.substr(0, equals));
    for (const Setting& setting : kSettings) {
        if (setting.section != section || setting.name != name) continue;
        if (setting.take({target.configuration, target.folder, trimmedAscii(text.substr(equals + 1))})) return {};
        return wrongLine(line, "The value of " + std::string(name) +
                                   " makes no sense. An example: " + std::string(setting.example));
    }
    return wrongLine(line, "There is no " + std::string(name) + " in [" + std::string(section) + "].");
}

Result<void> check(const BackendConfiguration& configuration) {
    const auto missing = [](const char* what) { return failure("BackendConfiguration", 0, what); };
    if (configuration.databaseFile.empty() == configuration.postgres.empty())
        return missing("The configuration needs one of file and postgresql in [database].");
    if (configuration.mailFrom.empty()) return missing("The configuration needs from in [mail].");
    if (configuration.smtp.host.empty() == configuration.mailFolder.empty())
        return missing("The configuration needs one of smtp_host and folder in [mail].");
    if (configuration.baseUrl.empty()) return missing("The configuration needs base_url in [server].");
    return {};
}

}  // namespace

Result<BackendConfiguration> parseBackendConfiguration(std::string_view text, const std::filesystem::path& folder) {
    BackendConfiguration configuration;
    std::string section;
    for (int line = 1; !text.empty(); ++line) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto content = trimmedAscii(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (content.empty() || content.front() == '#' || content.front() == ';') continue;
        if (content.front() == '[' && content.back() == ']') {
            section = content.substr(1, content.size() - 2);
            continue;
        }
        if (auto taken = takeLine(line, content, section, {configuration, folder, {}}); !taken) return failed(taken);
    }
    if (auto checked = check(configuration); !checked) return failed(checked);
    return configuration;
}

std::string exampleBackendConfiguration() {
    std::string text = "# How this Quillstead backend is set up. Lines with # say nothing to it.\n";
    std::string_view section;
    // Those that a server can't do without stand as they are, the others are ready to be taken in.
    const std::set<std::string_view> needed = {"base_url", "file", "from", "smtp_host"};
    for (const Setting& setting : kSettings) {
        if (setting.section != section) text += "\n[" + std::string(setting.section) + "]\n";
        section = setting.section;
        if (!setting.help.empty()) text += "# " + std::string(setting.help) + "\n";
        const bool isNeeded = needed.contains(setting.name) && section != "tracking";
        text +=
            std::string(isNeeded ? "" : "# ") + std::string(setting.name) + " = " + std::string(setting.example) + "\n";
    }
    return text;
}

BackendConfiguration demoBackendConfiguration(const std::filesystem::path& folder) {
    BackendConfiguration configuration;
    configuration.port = 0;
    configuration.databaseFile = folder / "backend.sqlite";
    configuration.mailFrom = "quillstead@demo.invalid";
    configuration.mailFolder = folder / "letters";
    configuration.operatorContact = "You: this is a demo on your own machine.";
    return configuration;
}

}  // namespace qs
