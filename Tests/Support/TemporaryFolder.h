// A folder of its own for a test, removed with all that is in it when the test ends.
#pragma once

#include <filesystem>
#include <string_view>

namespace qs {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    // Makes the folders above it, too; an existing file is overwritten. Answers the file's path.
    std::filesystem::path write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path path_;
};

}  // namespace qs
