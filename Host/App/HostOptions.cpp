#include "HostOptions.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include "Foundation/Format.h"

namespace qs {
namespace {

constexpr int kHighestPort = 65535;

// One way to write an option: what it does with its value, or "false" for a value that makes no sense.
struct Option {
    std::string_view name;
    std::string_view value;  // what stands after it in the help; empty: it takes none
    std::string_view help;   // empty: for tests, not told
    bool (*take)(HostOptions& options, const std::string& value);
};

template <class Number>
bool takeNumber(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool takeFolder(std::filesystem::path& folder, const std::string& value) {
    folder = value;
    return !value.empty();
}

template <bool HostOptions::*member>
bool set(HostOptions& options, const std::string&) {
    return options.*member = true;
}

bool takePort(HostOptions& options, const std::string& value) {
    int port = 0;
    if (!takeNumber(value, port) || port < 0 || port > kHighestPort) return false;
    options.port = port;
    return true;
}

bool takeOsMinor(HostOptions& options, const std::string& value) {
    if (value != "10" && value != "11" && value != "12") return false;
    return takeNumber(value, options.osMinor);
}

bool takeClock(HostOptions& options, const std::string& value) {
    double start = 0;
    if (!takeNumber(value, start) || !(start >= 0 && start < 1e11)) return false;
    options.virtualClock = start;
    return true;
}

constexpr Option kOptions[] = {
    {"--demo", "", "the made-up mail of two people; touches none of yours", set<&HostOptions::demo>},
    {"--own", "", "your own mail, also while there is no account yet: the page asks for the first one",
     set<&HostOptions::own>},
    {"--port", "N", "serve the page on this port of the loopback interface; 0 takes any free one", takePort},
    {"--data", "DIR", "keep mail, settings and logs in this folder",
     [](HostOptions& options, const std::string& value) { return takeFolder(options.data, value); }},
    {"--os-minor", "10|11|12", "behave as this version of the mail program (12 when not given)", takeOsMinor},
    {"--no-browser", "", "print the address and leave the browser alone", set<&HostOptions::noBrowser>},
    {"--no-plugin", "", "run as a plain mail program", set<&HostOptions::noPlugIn>},
    {"--reinstall", "", "bring the plug-in back after it was uninstalled", set<&HostOptions::reinstall>},
    {"--open-url", "URL",
     "open this address, in the running program if there is one; a quillstead: or mailto:\n"
     "                        address needs no option",
     [](HostOptions& options, const std::string& value) { return !(options.openURL = value).empty(); }},
    {"--bundles", "DIR", "where the built plug-in is (../Bundles beside the program's folder when not given)",
     [](HostOptions& options, const std::string& value) { return takeFolder(options.bundles, value); }},
    {"--page", "DIR", "where the built page is (../page beside the program's folder when not given)",
     [](HostOptions& options, const std::string& value) { return takeFolder(options.page, value); }},
    {"--verbose", "", "print every line of the log, not only warnings and errors", set<&HostOptions::verbose>},
    {"--help", "", "this text", set<&HostOptions::help>},
    {"--version", "", "the program's version", set<&HostOptions::version>},
    {"--virtual-clock", "SECONDS", "", takeClock},
};

tl::unexpected<Error> misunderstood(std::string_view format, std::initializer_list<Value> arguments) {
    return failure("HostOptions", 1, stringWithFormat(format, arguments));
}

}  // namespace

Result<HostOptions> parseHostOptions(const std::vector<std::string>& arguments) {
    HostOptions options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        // As the desktop hands addresses over.
        if (argument->starts_with("quillstead:") || argument->starts_with("mailto:")) {
            options.openURL = *argument;
            continue;
        }
        const auto equals = argument->find('=');
        const std::string name = argument->substr(0, equals);
        const auto* option = std::find_if(std::begin(kOptions), std::end(kOptions),
                                          [&](const Option& each) { return each.name == name; });
        if (option == std::end(kOptions)) return misunderstood("There is no option '%@'.", {name});

        const bool hasValue = equals != std::string::npos;
        std::string value = hasValue ? argument->substr(equals + 1) : std::string();
        if (option->value.empty() && hasValue) return misunderstood("The option %@ takes no value.", {name});
        if (!option->value.empty() && !hasValue) {
            if (std::next(argument) == arguments.end()) return misunderstood("The option %@ needs a value.", {name});
            value = *++argument;
        }
        if (!option->take(options, value))
            return misunderstood("The option %@ can't be '%@'; it takes %@.", {name, value, option->value});
    }
    return options;
}

std::string hostHelp() {
    std::string text = "Usage: quillstead-host [OPTIONS] [URL]\n\n"
                       "Starts the mail program and opens its page in your browser. Ctrl-C stops it.\n\n";
    for (const Option& option : kOptions) {
        if (option.help.empty()) continue;
        std::string left =
            "  " + std::string(option.name) + (option.value.empty() ? "" : " ") + std::string(option.value);
        left.resize(std::max<std::size_t>(left.size() + 2, 24), ' ');
        text += left + std::string(option.help) + "\n";
    }
    return text;
}

}  // namespace qs
