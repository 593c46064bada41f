#include "PlugInLink.h"

#include <system_error>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"

namespace qs {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBundleName = "Quillstead.mailbundle";
constexpr const char* kMarkerName = "Quillstead.removed";

tl::unexpected<Error> cannot(std::string_view format, const fs::path& what, const std::string& why) {
    return failure("PlugInLink", 1, stringWithFormat(format, {what.string(), why}));
}

}  // namespace

Result<PlugInPlace> linkPlugIn(const fs::path& dataFolder, const fs::path& builtBundles, bool reinstall) {
    FileSystem& files = FileSystem::real();
    const fs::path folder = dataFolder / "Bundles", link = folder / kBundleName, marker = folder / kMarkerName;
    const fs::path target = fs::absolute(builtBundles / kBundleName).lexically_normal();
    constexpr std::string_view kNoLink = "The plug-in can't be put into %@: %@.";

    if (auto made = files.makeFolder(folder); !made) return cannot(kNoLink, folder, made.error().description);
    std::error_code error;
    const auto status = fs::symlink_status(link, error);
    if (files.exists(marker)) {
        if (!reinstall) {
            if (fs::is_symlink(status)) fs::remove(link, error);  // uninstalling was cut off between the two
            return PlugInPlace::Uninstalled;
        }
        if (auto removed = files.remove(marker); !removed) return cannot(kNoLink, folder, removed.error().description);
    }
    if (!files.exists(target))
        return cannot("The plug-in is not at %@. Build it, name its place with --bundles, or start with --no-plugin.",
                      target, {});

    if (fs::exists(status) && !fs::is_symlink(status)) return PlugInPlace::Linked;
    if (fs::is_symlink(status) && fs::read_symlink(link, error) == target) return PlugInPlace::Linked;
    // Derived, and made anew at each start: a power cut may take it.
    fs::remove(link, error);
    fs::create_directory_symlink(target, link, error);
    if (error) return cannot(kNoLink, folder, error.message());
    return PlugInPlace::Linked;
}

}  // namespace qs
