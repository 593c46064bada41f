// What every file system does by means of its simpler steps, unless it knows a better way.
#include "Foundation/FileSystem.h"

#include <sys/random.h>

#include <limits>

#include "Foundation/Format.h"

namespace qs {

namespace fs = std::filesystem;

namespace {

std::string randomName() {
    std::uint64_t random = 0;
    while (::getrandom(&random, sizeof random, 0) != sizeof random) {
    }
    return stringWithFormat("%016lx", {static_cast<std::int64_t>(random)});
}

}  // namespace

Result<std::shared_ptr<const OpenFile>> FileSystem::open(const fs::path& file) {
    auto content = read(file);
    if (!content) return failed(content);
    return openText(std::move(*content));
}

Result<void> FileSystem::writeNewFrom(const fs::path& file, const ByteSource& content) {
    const auto whole = startOf(content, std::numeric_limits<std::size_t>::max());
    if (!whole) return failed(whole);
    return writeNew(file, *whole);
}

std::uint64_t FileSystem::freeSpace(const fs::path& folder) {
    (void)folder;
    return std::numeric_limits<std::uint64_t>::max();
}

Result<void> FileSystem::writeAllNew(const std::vector<FileToWrite>& files) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        auto written = writeNew(files[i].file, files[i].content);
        if (written) continue;
        while (i-- > 0)
            (void)remove(files[i].file);  // the first error is the one to tell
        return written;
    }
    return {};
}

Result<void> FileSystem::replace(const fs::path& file, std::string_view content) {
    const fs::path folder = file.parent_path();
    const fs::path temporary = folder / ("." + file.filename().string() + "." + randomName() + ".tmp");
    if (auto written = writeNew(temporary, content); !written) return written;
    if (auto renamed = rename(temporary, file); !renamed) {
        (void)remove(temporary);  // the first error is the one to tell
        return renamed;
    }
    return syncFolder(folder);
}

}  // namespace qs
