#include "BundleRemoval.h"

#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBundleName = "Quillstead.mailbundle";
constexpr std::string_view kMarkerName = "Quillstead.removed";
constexpr int kDeepestFolder = 32;

tl::unexpected<Error> refused(std::string_view format, const fs::path& path) {
    return failure("BundleRemoval", 1, stringWithFormat(format, {path.string()}));
}

// Links are removed as links; nothing behind them is touched.
Result<void> removeTree(const fs::path& path, int depth) {
    std::error_code unknown;
    const bool isFolder = fs::symlink_status(path, unknown).type() == fs::file_type::directory;
    if (depth > kDeepestFolder) return refused("%@ is nested too deeply.", path);
    if (isFolder) {
        const auto inside = FileSystem::real().list(path);
        if (!inside) return failed(inside);
        for (const FileInfo& each : *inside)
            if (const auto removed = removeTree(each.path, depth + 1); !removed) return removed;
    }
    return FileSystem::real().remove(path);
}

bool isPartOfASourceOrBuildTree(fs::path folder, const fs::path& upTo) {
    for (;; folder = folder.parent_path()) {
        for (const char* mark : {".git", "CMakeCache.txt", "CMakeLists.txt"})
            if (FileSystem::real().exists(folder / mark)) return true;
        if (folder == upTo || !folder.has_relative_path()) return false;
    }
}

}  // namespace

Result<void> removeInstalledBundle(const fs::path& bundles, const fs::path& data) {
    std::error_code error;
    const fs::path realData = fs::canonical(data, error);
    if (error) return refused("The data folder %@ is not there.", data);
    const fs::path realBundles = fs::canonical(bundles, error);
    if (error) return refused("The bundles folder %@ is not there.", bundles);
    const auto [inData, inBundles] =
        std::mismatch(realData.begin(), realData.end(), realBundles.begin(), realBundles.end());
    if (inData != realData.end() || inBundles == realBundles.end())
        return refused("%@ lies outside of the data folder, so nothing is removed from it.", bundles);
    if (isPartOfASourceOrBuildTree(realBundles, realData))
        return refused("%@ belongs to a source or build tree, so nothing is removed from it.", bundles);
    const fs::path bundle = realBundles / kBundleName;
    if (!fs::exists(fs::symlink_status(bundle, error))) return refused("There is no %@.", bundle);
    // First, so that a bundle half removed is not taken for one that is still wanted.
    if (const auto marked = FileSystem::real().replace(realBundles / kMarkerName, "The plug-in was uninstalled.\n");
        !marked)
        return marked;
    if (const auto removed = removeTree(bundle, 0); !removed) return removed;
    return FileSystem::real().syncFolder(realBundles);
}

}  // namespace qs
