#include "Text/FilePaths.h"

#include "Foundation/Format.h"

namespace qs {

std::filesystem::path QSNextAvailableFilePath(const std::filesystem::path& path, FileSystem& files) {
    if (!files.exists(path)) return path;
    constexpr std::int64_t kLast = 998;
    const std::string base = path.parent_path() / path.stem();
    std::string extension = path.extension();
    if (!extension.empty()) extension.erase(0, 1);
    for (std::int64_t number = 1;; ++number) {
        const std::filesystem::path next = stringWithFormat("%@-%ld.%@", {base, number, extension});
        if (number == kLast || !files.exists(next)) return next;
    }
}

}  // namespace qs
