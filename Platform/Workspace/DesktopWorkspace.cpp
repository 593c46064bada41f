// The workspace by the rules of the free desktop: xdg-open, and .desktop files for where applications are
// (https://specifications.freedesktop.org/desktop-entry-spec/latest/).
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

#include "Adapters.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Process/DetachedProcess.h"
#include "Text/Ascii.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

constexpr std::string_view kWorkspaceErrorDomain = "Workspace";
enum class WorkspaceError { Scheme = 1, NoDesktop, NoFile, NoApplication };

tl::unexpected<Error> workspaceFailure(WorkspaceError code, std::string description) {
    return failure(std::string(kWorkspaceErrorDomain), static_cast<int>(code), std::move(description));
}

std::string environment(const char* name, std::string_view missing) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
    return value && *value ? value : std::string(missing);
}

// The scheme in small letters; empty for what is no address, or is nothing but a scheme.
std::string schemeOf(std::string_view url) {
    // An address is one word; blanks and control characters have no place in it.
    if (std::ranges::any_of(url, [](char c) { return c == ' ' || isAsciiControl(c); })) return {};
    const std::string scheme = asciiLowered(url.substr(0, url.find(':')));
    const auto belongs = [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.'; };
    const bool isScheme = !scheme.empty() && isAsciiLetter(scheme[0]) && std::ranges::all_of(scheme, belongs);
    return isScheme && scheme.size() + 1 < url.size() ? scheme : std::string();
}

Result<void> openWithDesktop(std::string what) {
    const auto opener = programNamed("xdg-open");
    if (opener.empty())
        return workspaceFailure(WorkspaceError::NoDesktop,
                                "There is no desktop here that could open this. Please install xdg-utils.");
    return startDetached(opener, {std::move(what)});
}

// The program of an "Exec" line: its first word, without quotes; field codes and arguments follow it.
std::filesystem::path programOfDesktopEntry(std::string_view text) {
    const auto line = text.find("\nExec=");
    if (line == std::string_view::npos) return {};
    std::string_view command = text.substr(line + 6);
    command = command.substr(0, command.find('\n'));
    const bool isQuoted = command.starts_with('"');
    if (isQuoted) command.remove_prefix(1);
    const std::string program(command.substr(0, command.find(isQuoted ? '"' : ' ')));
    return program.starts_with('/') ? std::filesystem::path(program) : programNamed(program);
}

std::filesystem::path installedApplication(std::string_view identifier) {
    if (identifier.find('/') != std::string_view::npos) return {};
    std::string folders = environment("XDG_DATA_HOME", environment("HOME", "") + "/.local/share");
    folders += ":" + environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (std::string_view rest = folders; !rest.empty();) {
        const std::filesystem::path folder = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), folder.native().size() + 1));
        const auto entry = FileSystem::real().read(folder / "applications" / (std::string(identifier) + ".desktop"));
        if (entry) return programOfDesktopEntry(*entry);
    }
    return {};
}

class DesktopWorkspace : public Workspace {
public:
    Result<void> openURL(std::string_view url) override {
        const std::string scheme = schemeOf(url);
        if (scheme != "http" && scheme != "https" && scheme != "mailto" && scheme != "file")
            return workspaceFailure(WorkspaceError::Scheme,
                                    "Only addresses of web pages, mail and files can be opened.");
        return openWithDesktop(std::string(url));
    }

    Result<void> openURLOfProgram(std::string_view url, std::string_view scheme) override {
        if (const std::string found = schemeOf(url); found.empty() || found != scheme)
            return workspaceFailure(WorkspaceError::Scheme,
                                    stringWithFormat("This is no address of a “%@” program.", {scheme}));
        return openWithDesktop(std::string(url));
    }

    Result<void> openFile(const std::filesystem::path& file, std::string_view withApplication) override {
        std::error_code ignored;
        const auto absolute = std::filesystem::absolute(file, ignored);
        if (!FileSystem::real().exists(absolute))
            return workspaceFailure(WorkspaceError::NoFile,
                                    stringWithFormat("“%@” is not there any more.", {file.filename().string()}));
        const auto application =
            withApplication == "Console" ? std::filesystem::path() : applicationNamed(withApplication);
        if (!application.empty()) return startDetached(application, {absolute.string()});
        return openWithDesktop(absolute.string());
    }

    std::filesystem::path absolutePathForAppBundleWithIdentifier(std::string_view identifier) override {
        {
            const std::lock_guard hold(lock_);
            if (const auto found = registered_.find(identifier); found != registered_.end())
                return found->second.executable;
        }
        return installedApplication(identifier);
    }

    Result<void> launchApplicationAtURL(const std::filesystem::path& application, unsigned /*nothing is activated*/,
                                        const std::vector<std::string>& arguments) override {
        std::error_code ignored;
        const auto absolute = std::filesystem::absolute(application, ignored);
        if (!std::filesystem::is_regular_file(absolute, ignored) || ::access(absolute.c_str(), X_OK) != 0)
            return workspaceFailure(WorkspaceError::NoApplication,
                                    stringWithFormat("“%@” is no application.", {application.filename().string()}));
        std::vector<std::string> all = registeredArguments(application);
        all.insert(all.end(), arguments.begin(), arguments.end());
        return startDetached(absolute, all);
    }

    void registerApplication(std::string_view identifier, std::filesystem::path executable,
                             std::vector<std::string> arguments) override {
        const std::lock_guard hold(lock_);
        registered_.insert_or_assign(std::string(identifier), Application{std::move(executable), std::move(arguments)});
    }

private:
    struct Application {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
    };

    std::vector<std::string> registeredArguments(const std::filesystem::path& executable) {
        const std::lock_guard hold(lock_);
        for (const auto& [identifier, application] : registered_)
            if (application.executable == executable) return application.arguments;
        return {};
    }

    std::filesystem::path applicationNamed(std::string_view name) {
        if (name.empty()) return {};
        const auto found = absolutePathForAppBundleWithIdentifier(name);
        return found.empty() ? programNamed(name) : found;
    }

    std::mutex lock_;
    std::map<std::string, Application, std::less<>> registered_;
};

}  // namespace

std::shared_ptr<Workspace> makeWorkspace() { return std::make_shared<DesktopWorkspace>(); }

}  // namespace qs
