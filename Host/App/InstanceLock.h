// One program per data folder: a lock that the system gives back when the process ends, however it ends.
#pragma once

#include <filesystem>
#include <memory>

#include "Foundation/Result.h"

namespace qs {

class InstanceLock {
public:
    static constexpr const char* kFileName = "lock";

    // Null when another process holds the folder's lock. Fails when the file can't be made or written.
    static Result<std::unique_ptr<InstanceLock>> take(const std::filesystem::path& folder);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

private:
    explicit InstanceLock(int file) : file_(file) {}
    int file_;
};

}  // namespace qs
