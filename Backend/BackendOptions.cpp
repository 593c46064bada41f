#include "BackendOptions.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace qs {

namespace {

constexpr int kHighestPort = 65535;

tl::unexpected<Error> wrong(const std::string& sentence) { return failure("BackendOptions", 1, sentence); }

std::optional<int> portFrom(const std::string& text) {
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 0 || port > kHighestPort)
        return std::nullopt;
    return port;
}

// "ADDRESS=MAILDIR"
bool takeInbox(std::map<std::string, std::filesystem::path>& inboxes, const std::string& value) {
    const auto equals = value.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == value.size()) return false;
    inboxes[value.substr(0, equals)] = value.substr(equals + 1);
    return true;
}

bool takesValue(const std::string& name) {
    constexpr std::array names = {"--config", "--demo", "--port", "--account", "--inbox"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Result<BackendOptions> parseBackendOptions(const std::vector<std::string>& arguments) {
    BackendOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help" || name == "-h") {
            options.help = true;
        } else if (name == "--version") {
            options.version = true;
        } else if (name == "--example-config") {
            options.exampleConfig = true;
        } else if (name == "--verbose") {
            options.verbose = true;
        } else if (name == "--until-input-ends") {
            options.untilInputEnds = true;
        } else if (takesValue(name)) {
            if (i + 1 == arguments.size() || arguments[i + 1].empty()) return wrong(name + " needs a value.");
            const std::string& value = arguments[++i];
            if (name == "--config") options.configFile = value;
            if (name == "--demo") options.demoFolder = value;
            if (name == "--account") options.account = value;
            if (name == "--port" && !(options.port = portFrom(value))) return wrong("The port " + value + " is none.");
            if (name == "--inbox" && !takeInbox(options.inboxes, value))
                return wrong("The inbox " + value + " is not of the form ADDRESS=MAILDIR.");
        } else {
            return wrong("There is no option '" + name + "'.");
        }
    }
    const bool asksForText = options.help || options.version || options.exampleConfig;
    if (!asksForText && options.configFile.empty() == options.demoFolder.empty())
        return wrong("Please give one of --config and --demo.");
    if (options.demoFolder.empty() && (!options.account.empty() || !options.inboxes.empty()))
        return wrong("Accounts and inboxes can be given to a demo only.");
    return options;
}

std::string backendHelp() {
    return "Usage: quillstead-backend --config FILE [--port N] [--verbose]\n"
           "       quillstead-backend --demo DIR [--port N] [--verbose] [--inbox ADDRESS=MAILDIR]... [--account "
           "ADDRESS]\n"
           "       quillstead-backend --example-config\n\n"
           "Keeps the accounts of Quillstead's users and tells them when their tracked mail was opened. Ctrl-C or\n"
           "SIGTERM stops it once the requests under way are answered.\n\n"
           "  --config FILE     run as this file says\n"
           "  --demo DIR        keep everything in this folder, listen on the loopback interface, and put letters "
           "into\n"
           "                    the Maildir DIR/letters; the port is kept from start to start where it can be\n"
           "  --inbox ADDRESS=MAILDIR\n"
           "                    in a demo, put the letters to this address there; any number of times\n"
           "  --account ADDRESS\n"
           "                    in a demo, make an account for this address unless there is one; its password is the "
           "first\n"
           "                    line of the standard input\n"
           "  --until-input-ends\n"
           "                    stop when the standard input has ended, as with the program that holds its other end\n"
           "  --port N          listen on this port, whatever the configuration says\n"
           "  --example-config  print a configuration with every setting explained\n"
           "  --verbose         print every line of the log, not only warnings and errors\n"
           "  --version         print the version\n"
           "  --help            this text\n";
}

}  // namespace qs
