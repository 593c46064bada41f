#include "InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "Foundation/Format.h"

namespace qs {
namespace {

// For a person who wonders which process it is; nothing reads it.
bool writeProcessNumber(int file) {
    const std::string text = std::to_string(::getpid()) + "\n";
    return ::ftruncate(file, 0) == 0 &&
           ::pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

}  // namespace

Result<std::unique_ptr<InstanceLock>> InstanceLock::take(const std::filesystem::path& folder) {
    const auto path = folder / kFileName;
    const auto cannot = [&](int error) {
        return failure("InstanceLock", error,
                       stringWithFormat("The data folder can't be locked: %@: %@.",
                                        {path.string(), std::generic_category().message(error)}));
    };
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file < 0) return cannot(errno);
    std::unique_ptr<InstanceLock> lock(new InstanceLock(file));
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) return std::unique_ptr<InstanceLock>();
        return cannot(errno);
    }
    if (!writeProcessNumber(file)) return cannot(errno);
    return lock;
}

// The file stays: removing it could take it away from under a process that waits for it.
InstanceLock::~InstanceLock() { ::close(file_); }

}  // namespace qs
