// Bytes that are put aside on the disk until they have come whole: a file without a name, which is gone with the object
// and after a crash. Never durable; what is to stay goes through FileSystem afterwards. For one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "Foundation/ByteSource.h"

namespace qs {

class SpoolFile {
public:
    // On the disk of that folder, which exists.
    static Result<std::unique_ptr<SpoolFile>> make(const std::filesystem::path& folder);
    ~SpoolFile();
    SpoolFile(const SpoolFile&) = delete;
    SpoolFile& operator=(const SpoolFile&) = delete;

    Result<void> append(std::string_view piece);
    std::uint64_t size() const { return size_; }
    SizedSource content() const;  // from the start; the file must outlive it

private:
    explicit SpoolFile(int descriptor) : descriptor_(descriptor) {}

    const int descriptor_;
    std::uint64_t size_ = 0;
};

}  // namespace qs
