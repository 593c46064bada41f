#include "Foundation/SpoolFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "Foundation/FileSystem.h"

namespace qs {

namespace {

tl::unexpected<Error> spoolFailure(int code) {
    const std::string reason = code == ENOSPC   ? "There is no space left on the disk."
                               : code == EDQUOT ? "Your share of the disk is used up."
                                                : std::system_category().message(code) + ".";
    return failure(std::string(kFileErrorDomain), code, reason);
}

// Some disks can't make files without a name; there the name goes at once.
int openNameless(const std::filesystem::path& folder) {
    const int nameless = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (nameless >= 0 || (errno != EOPNOTSUPP && errno != EISDIR)) return nameless;
    std::string name = (folder / ".spool-XXXXXX").string();
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) ::unlink(name.c_str());
    return named;
}

}  // namespace

Result<std::unique_ptr<SpoolFile>> SpoolFile::make(const std::filesystem::path& folder) {
    const int descriptor = openNameless(folder);
    if (descriptor < 0) return spoolFailure(errno);
    return std::unique_ptr<SpoolFile>(new SpoolFile(descriptor));
}

SpoolFile::~SpoolFile() { ::close(descriptor_); }

Result<void> SpoolFile::append(std::string_view piece) {
    while (!piece.empty()) {
        const ssize_t written = ::pwrite(descriptor_, piece.data(), piece.size(), static_cast<off_t>(size_));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return spoolFailure(errno);
        size_ += static_cast<std::uint64_t>(written);
        piece.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

SizedSource SpoolFile::content() const {
    return {size_, [this, place = std::uint64_t{0}](char* buffer, std::size_t size) mutable -> Result<std::size_t> {
                for (;;) {
                    const ssize_t length = ::pread(descriptor_, buffer, size, static_cast<off_t>(place));
                    if (length < 0 && errno == EINTR) continue;
                    if (length < 0) return spoolFailure(errno);
                    place += static_cast<std::uint64_t>(length);
                    return static_cast<std::size_t>(length);
                }
            }};
}

}  // namespace qs
