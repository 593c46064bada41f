#include "DataFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "InstanceLock.h"

namespace qs {
namespace {

tl::unexpected<Error> unusable(std::string_view format, const std::filesystem::path& folder, int error = 0) {
    return failure("DataFolder", error,
                   stringWithFormat(format, {folder.string(), std::generic_category().message(error)}));
}

// Empty when the environment names no such place. A relative XDG path is to be ignored by its specification.
std::filesystem::path userDataFolder() {
    const auto environment = [](const char* name) {
        const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
        return std::filesystem::path(value ? value : "");
    };
    if (auto folder = environment("XDG_DATA_HOME"); folder.is_absolute()) return folder;
    const auto home = environment("HOME");
    return home.is_absolute() ? home / ".local" / "share" : std::filesystem::path();
}

bool hasAccounts(const std::filesystem::path& folder) { return FileSystem::real().exists(folder / "Accounts.plist"); }

// A folder that others may look into is closed to them, if it is plainly ours alone: empty, or used by us before.
void closeToOthers(const std::filesystem::path& folder, const struct stat& info) {
    std::error_code ignored;
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
    if (!std::filesystem::is_empty(folder, ignored) && !FileSystem::real().exists(folder / InstanceLock::kFileName))
        return;
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, ignored);
}

}  // namespace

Result<DataFolder> chooseDataFolder(const HostOptions& options) {
    std::error_code error;
    if (!options.data.empty()) {
        auto folder = std::filesystem::absolute(options.data, error);
        if (error) return unusable("The data folder %@ can't be found: %@.", options.data, error.value());
        return DataFolder{std::move(folder), options.demo, {}};
    }
    const auto place = userDataFolder();
    if (place.empty())
        return failure("DataFolder", 0, "There is no home folder to keep data in. Please name one with --data.");
    const auto own = place / "quillstead", demo = place / "quillstead-demo";
    if (options.demo) return DataFolder{demo, true, {}};
    if (options.own || hasAccounts(own)) return DataFolder{own, false, {}};
    return DataFolder{demo, true,
                      stringWithFormat("There are no mail accounts in %@ yet, so this is the demo. Start with --own "
                                       "to add your account.",
                                       {own.string()})};
}

Result<void> prepareDataFolder(const std::filesystem::path& folder) {
    if (auto made = FileSystem::real().makeFolder(folder); !made)
        return unusable("The data folder %@ can't be made: %@.", folder, made.error().code);
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0) return unusable("The data folder %@ can't be read: %@.", folder, errno);
    if (info.st_uid != ::geteuid())
        return unusable("The data folder %@ belongs to another user. Please name another with --data.", folder);
    closeToOthers(folder, info);
    if (::access(folder.c_str(), R_OK | W_OK | X_OK) != 0)
        return unusable("The data folder %@ can't be read and written: %@.", folder, errno);
    return {};
}

}  // namespace qs
