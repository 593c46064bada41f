// A disk in memory of which one folder can't be listed, as when the hardware fails or too many files are open.
#pragma once

#include <cerrno>
#include <filesystem>

#include "Support/TornDisk.h"

namespace qs {

class BlindDisk : public TornDisk {
public:
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override {
        if (folder == unseen) return failure(std::string(kFileErrorDomain), error, "the disk does not answer");
        return TornDisk::list(folder);
    }

    std::filesystem::path unseen;
    int error = EIO;
};

}  // namespace qs
