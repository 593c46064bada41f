#include "Foundation/RemoveTree.h"

#include <cerrno>

#include "Foundation/FileSystem.h"

namespace qs {

Result<void> removeTree(FileSystem& files, const std::filesystem::path& folder) {
    // Only a folder that holds something refuses in this way; a link to one goes.
    auto removed = files.remove(folder);
    if (removed || (removed.error().code != ENOTEMPTY && removed.error().code != EEXIST)) return removed;
    const auto entries = files.list(folder);
    if (!entries) return failed(entries);
    Result<void> result;
    for (const FileInfo& entry : *entries)
        if (auto gone = removeTree(files, entry.path); !gone && result) result = std::move(gone);
    auto emptied = files.remove(folder);
    return result ? emptied : result;
}

}  // namespace qs
