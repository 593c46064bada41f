#include <pwd.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <vector>

#include "Adapters.h"
#include "Platform.h"
#include "SystemFacts/ProcessInfo.h"

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

private:
    PlatformOptions options_;
};

}  // namespace

std::shared_ptr<ProcessInfo> makeProcessInfo(const PlatformOptions& options) {
    return std::make_shared<LinuxProcessInfo>(options);
}

}  // namespace qs
