#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "Adapters.h"
#include "Foundation/FileSystem.h"
#include "Platform.h"
#include "SystemFacts/ProcessInfo.h"
#include "Text/Ascii.h"
#include "Text/Digests.h"

namespace qs {

namespace {

// The full name is the first field of the comment in the user database; "&" in it stands for the login name.
std::string fullNameOfUser() {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16 * 1024);
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
    const std::string_view comment = entry.pw_gecos ? entry.pw_gecos : "";
    const std::string_view login = entry.pw_name ? entry.pw_name : "";
    std::string name;
    for (const char c : comment.substr(0, comment.find(','))) {
        if (c == '&')
            name += login;
        else
            name += c;
    }
    return name.empty() ? std::string(login) : name;
}

std::string firstLineOf(const char* file) {
    const auto text = FileSystem::real().read(file);
    return text ? std::string(trimmedAscii(std::string_view(*text).substr(0, text->find('\n')))) : std::string();
}

// "de_DE.UTF-8@euro" is "de-DE"; "C" and "POSIX" are no languages.
std::string languageOf(std::string_view locale) {
    std::string language(locale.substr(0, locale.find_first_of(".@")));
    std::ranges::replace(language, '_', '-');
    return language == "C" || language == "POSIX" ? std::string() : language;
}

class LinuxProcessInfo : public ProcessInfo {
public:
    explicit LinuxProcessInfo(PlatformOptions options) : options_(std::move(options)) {}

    OperatingSystemVersion operatingSystemVersion() const override { return {.minor = options_.osMinor}; }
    std::string hostName() const override {
        std::array<char, 256> name{};
        return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
    }
    std::string userFullName() const override { return fullNameOfUser(); }
    std::filesystem::path dataFolder() const override { return options_.dataFolder; }
    std::filesystem::path documentsFolder() const override { return options_.dataFolder / "Documents"; }
    std::filesystem::path logFolder() const override { return options_.dataFolder / "Logs"; }
    std::string machineIdentifier() const override {
        const std::string machine = firstLineOf("/etc/machine-id");
        return machine.empty() ? machine : SHA256HexDigest("com.tallowbay.Quillstead " + machine).substr(0, 32);
    }
    std::string machineModel() const override { return firstLineOf("/sys/class/dmi/id/product_name"); }
    // As gettext has it: LANGUAGE is a list, and counts before the one locale.
    std::vector<std::string> preferredLanguages() const override {
        std::vector<std::string> languages;
        const auto add = [&](std::string_view locale) {
            if (std::string language = languageOf(locale); !language.empty()) languages.push_back(std::move(language));
        };
        std::string_view list = variable("LANGUAGE");
        while (!list.empty()) {
            const std::string_view one = list.substr(0, list.find(':'));
            add(one);
            list.remove_prefix(std::min(one.size() + 1, list.size()));
        }
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
            if (languages.empty()) add(variable(name));
        return languages;
    }

private:
    static std::string_view variable(const char* name) {
        const char* value = std::getenv(name);
        return value ? value : "";
    }

    PlatformOptions options_;
};

}  // namespace

std::shared_ptr<ProcessInfo> makeProcessInfo(const PlatformOptions& options) {
    return std::make_shared<LinuxProcessInfo>(options);
}

}  // namespace qs
