// The disk, by the calls of the system.
#include "Foundation/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <system_error>

#include "Foundation/Format.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

// A larger file is none of ours, and reading it whole would take the machine's memory.
constexpr off_t kLargestFile = off_t{2} << 30;
constexpr std::size_t kManyFiles = 8;

std::string sentenceFor(int code) {
    switch (code) {
    case ENOENT: return "There is no such file or folder.";
    case EEXIST: return "There is already a file or folder of that name.";
    case EACCES:
    case EPERM: return "You have no permission for that file or folder.";
    case ENOSPC: return "There is no space left on the disk.";
    case EDQUOT: return "Your share of the disk is used up.";
    case EROFS: return "The disk can only be read.";
    case EIO: return "The disk reported a fault.";
    case EISDIR: return "A folder stands where a file was expected.";
    case ENOTDIR: return "A file stands where a folder was expected.";
    case ENOTEMPTY: return "The folder is not empty.";
    case ENAMETOOLONG: return "The name is too long for the disk.";
    case ELOOP: return "The file is a link that must not be followed.";
    case EFBIG: return "The file is too large.";
    case EMFILE:
    case ENFILE: return "Too many files are open.";
    case EXDEV: return "The two places are on different disks.";
    case EINVAL: return "This is not a regular file.";
    default: return std::system_category().message(code) + ".";
    }
}

tl::unexpected<Error> fileFailure(int code, const fs::path& file) {
    return failure(
        Error{std::string(kFileErrorDomain),
              code,
              stringWithFormat("“%@”: %@",
                               {file.filename().empty() ? file.string() : file.filename().string(), sentenceFor(code)}),
              {{"path", file.string()}}});
}

// Runs a system call until no signal interrupts it.
template <class Call>
auto untilDone(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

class Descriptor {
public:
    Descriptor(const fs::path& file, int flags)
        : descriptor_(untilDone([&] { return ::open(file.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0600); })) {}
    ~Descriptor() { (void)close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    // After an interrupted close the descriptor is gone all the same, so it is not repeated.
    bool close() {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
    }

private:
    int descriptor_;
};

bool writeAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = untilDone([&] { return ::write(descriptor, content.data(), content.size()); });
        if (written < 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool syncAndClose(Descriptor& descriptor) {
    return untilDone([&] { return ::fsync(descriptor.get()); }) == 0 && descriptor.close();
}

FileInfo infoFrom(const fs::path& file, const struct stat& facts) {
    return {
        .path = file,
        .isFolder = S_ISDIR(facts.st_mode),
        .size = static_cast<std::uintmax_t>(facts.st_size),
        .modified = {static_cast<double>(facts.st_mtim.tv_sec) + 1e-9 * static_cast<double>(facts.st_mtim.tv_nsec)}};
}

// Read, not mapped: a fault of the disk is an error then, and no signal.
class OpenDescriptor final : public OpenFile {
public:
    explicit OpenDescriptor(const fs::path& file) : descriptor_(file, O_RDONLY | O_NONBLOCK), file_(file) {}
    // Of opening it.
    Result<void> check() {
        struct stat facts {};
        if (!descriptor_ || ::fstat(descriptor_.get(), &facts) != 0) return fileFailure(errno, file_);
        if (!S_ISREG(facts.st_mode)) return fileFailure(S_ISDIR(facts.st_mode) ? EISDIR : EINVAL, file_);
        size_ = static_cast<std::uint64_t>(facts.st_size);
        return {};
    }
    std::uint64_t size() const override { return size_; }
    Result<std::size_t> readAt(std::uint64_t place, char* buffer, std::size_t size) const override {
        const ssize_t count =
            untilDone([&] { return ::pread(descriptor_.get(), buffer, size, static_cast<off_t>(place)); });
        if (count < 0) return fileFailure(errno, file_);
        return static_cast<std::size_t>(count);
    }

private:
    const Descriptor descriptor_;
    const fs::path file_;
    std::uint64_t size_ = 0;
};

// Synced when it returns; after a failure no file is left behind.
template <class Write>
Result<void> writeNewWith(const fs::path& file, Write write) {
    Descriptor descriptor(file, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
    if (!descriptor) return fileFailure(errno, file);
    Result<void> written = write(descriptor.get());
    if (written && !syncAndClose(descriptor)) written = fileFailure(errno, file);
    if (!written) ::unlink(file.c_str());
    return written;
}

class RealFileSystem : public FileSystem {
public:
    Result<std::string> read(const fs::path& file) override {
        // Without O_NONBLOCK a pipe of that name would hold us forever.
        Descriptor descriptor(file, O_RDONLY | O_NONBLOCK);
        struct stat facts {};
        if (!descriptor || ::fstat(descriptor.get(), &facts) != 0) return fileFailure(errno, file);
        if (!S_ISREG(facts.st_mode)) return fileFailure(S_ISDIR(facts.st_mode) ? EISDIR : EINVAL, file);
        if (facts.st_size > kLargestFile) return fileFailure(EFBIG, file);
        std::string content;
        // One byte more than expected, so that the end is seen without growing.
        content.resize(static_cast<std::size_t>(facts.st_size) + 1);
        for (std::size_t length = 0;;) {
            const ssize_t count =
                untilDone([&] { return ::read(descriptor.get(), content.data() + length, content.size() - length); });
            if (count < 0) return fileFailure(errno, file);
            length += static_cast<std::size_t>(count);
            if (count == 0) {
                content.resize(length);
                return content;
            }
            if (length == content.size()) content.resize(content.size() * 2);
        }
    }

    Result<void> writeNew(const fs::path& file, std::string_view content) override {
        return writeNewWith(file, [&](int descriptor) -> Result<void> {
            if (!writeAll(descriptor, content)) return fileFailure(errno, file);
            return {};
        });
    }

    Result<void> writeNewFrom(const fs::path& file, const ByteSource& content) override {
        return writeNewWith(file, [&](int descriptor) {
            return forEachPiece(content, [&](std::string_view piece) -> Result<void> {
                if (!writeAll(descriptor, piece)) return fileFailure(errno, file);
                return {};
            });
        });
    }

    Result<std::shared_ptr<const OpenFile>> open(const fs::path& file) override {
        auto opened = std::make_shared<OpenDescriptor>(file);
        if (auto checked = opened->check(); !checked) return failed(checked);
        return opened;
    }

    std::uint64_t freeSpace(const fs::path& folder) override {
        struct statvfs facts {};
        if (::statvfs(folder.c_str(), &facts) != 0) return FileSystem::freeSpace(folder);
        return std::uint64_t{facts.f_bavail} * facts.f_frsize;
    }

    Result<void> writeAllNew(const std::vector<FileToWrite>& files) override {
        if (files.size() < kManyFiles) return FileSystem::writeAllNew(files);
        // Opened first: it then tells of every fault of the disk from here on.
        Descriptor folder(files.front().file.parent_path(), O_RDONLY | O_DIRECTORY);
        Result<void> written;
        if (!folder) written = fileFailure(errno, files.front().file.parent_path());
        std::size_t made = 0;
        for (; written && made < files.size(); ++made) {
            const auto& [file, content] = files[made];
            Descriptor descriptor(file, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
            if (!descriptor) {
                written = fileFailure(errno, file);
                break;
            }
            if (!writeAll(descriptor.get(), content) || !descriptor.close()) written = fileFailure(errno, file);
        }
        // One sync of the whole disk costs less than one for each file.
        if (written && ::syncfs(folder.get()) != 0) written = fileFailure(errno, files.front().file.parent_path());
        for (std::size_t i = 0; !written && i < made; ++i)
            ::unlink(files[i].file.c_str());
        return written;
    }

    Result<void> append(const fs::path& file, std::string_view content) override {
        Descriptor descriptor(file, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK);
        if (!descriptor || !writeAll(descriptor.get(), content) || !syncAndClose(descriptor))
            return fileFailure(errno, file);
        return {};
    }

    Result<void> rename(const fs::path& from, const fs::path& to) override {
        if (::rename(from.c_str(), to.c_str()) != 0) return fileFailure(errno, from);
        return {};
    }

    Result<void> renameNew(const fs::path& from, const fs::path& to) override {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
        if (errno == EEXIST) return fileFailure(errno, to);
        if (errno != EINVAL && errno != ENOSYS) return fileFailure(errno, from);
        // Some network disks lack the flag. A hard link, too, is made by exactly one of several.
        if (::link(from.c_str(), to.c_str()) != 0) return fileFailure(errno, errno == EEXIST ? to : from);
        if (::unlink(from.c_str()) != 0) return fileFailure(errno, from);
        return {};
    }

    Result<void> remove(const fs::path& file) override {
        if (::remove(file.c_str()) != 0) return fileFailure(errno, file);
        return {};
    }

    Result<void> syncFolder(const fs::path& folder) override {
        Descriptor descriptor(folder.empty() ? fs::path(".") : folder, O_RDONLY | O_DIRECTORY);
        if (!descriptor || !syncAndClose(descriptor)) return fileFailure(errno, folder);
        return {};
    }

    Result<void> makeFolder(const fs::path& folder) override {
        struct stat facts {};
        if (::stat(folder.c_str(), &facts) == 0) {
            if (!S_ISDIR(facts.st_mode)) return fileFailure(ENOTDIR, folder);
            return {};
        }
        const fs::path clean = folder.has_filename() ? folder : folder.parent_path();
        if (clean.has_parent_path()) {
            if (const auto parent = makeFolder(clean.parent_path()); !parent) return parent;
        }
        if (::mkdir(clean.c_str(), 0700) != 0) {
            // Somebody else may have made it just now.
            if (errno == EEXIST && ::stat(clean.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) return {};
            return fileFailure(errno, clean);
        }
        return syncFolder(clean.parent_path());
    }

    Result<std::vector<FileInfo>> list(const fs::path& folder) override {
        const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder.c_str()), &::closedir);
        if (!open) return fileFailure(errno, folder);
        std::vector<FileInfo> files;
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(open.get());
            if (!entry) break;
            const std::string_view name = entry->d_name;
            struct stat facts {};
            // A file that went away since is left out.
            if (name == "." || name == ".." || ::fstatat(::dirfd(open.get()), entry->d_name, &facts, 0) != 0) continue;
            files.push_back(infoFrom(folder / name, facts));
        }
        if (errno != 0) return fileFailure(errno, folder);
        std::sort(files.begin(), files.end(), [](const FileInfo& a, const FileInfo& b) { return a.path < b.path; });
        return files;
    }

    Result<FileInfo> info(const fs::path& file) override {
        struct stat facts {};
        if (::stat(file.c_str(), &facts) != 0) return fileFailure(errno, file);
        return infoFrom(file, facts);
    }

    Result<std::string> readStart(const fs::path& file, std::size_t limit) override {
        Descriptor descriptor(file, O_RDONLY | O_NONBLOCK);
        struct stat facts {};
        if (!descriptor || ::fstat(descriptor.get(), &facts) != 0) return fileFailure(errno, file);
        if (!S_ISREG(facts.st_mode)) return fileFailure(S_ISDIR(facts.st_mode) ? EISDIR : EINVAL, file);
        std::string content(std::min(limit, static_cast<std::size_t>(facts.st_size)), '\0');
        std::size_t length = 0;
        while (length < content.size()) {
            const ssize_t count =
                untilDone([&] { return ::read(descriptor.get(), content.data() + length, content.size() - length); });
            if (count < 0) return fileFailure(errno, file);
            if (count == 0) break;
            length += static_cast<std::size_t>(count);
        }
        content.resize(length);
        return content;
    }

    Result<void> forEachName(const fs::path& folder,
                             const std::function<void(const std::string&, bool)>& visit) override {
        const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder.c_str()), &::closedir);
        if (!open) return fileFailure(errno, folder);
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(open.get());
            if (!entry) break;
            const std::string name = entry->d_name;
            if (name == "." || name == "..") continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
                struct stat facts {};
                if (::fstatat(::dirfd(open.get()), entry->d_name, &facts, 0) != 0) continue;
                isFolder = S_ISDIR(facts.st_mode);
            }
            visit(name, isFolder);
        }
        if (errno != 0) return fileFailure(errno, folder);
        return {};
    }

    void setModified(const fs::path& file, Date modified) override {
        const double whole = std::floor(modified.secondsSince1970);
        timespec times[2] = {};
        times[0].tv_nsec = UTIME_OMIT;
        times[1].tv_sec = static_cast<time_t>(whole);
        times[1].tv_nsec = std::min(999'999'999L, static_cast<long>((modified.secondsSince1970 - whole) * 1e9));
        (void)::utimensat(AT_FDCWD, file.c_str(), times, 0);
    }
};

}  // namespace

FileSystem& FileSystem::real() {
    static RealFileSystem files;
    return files;
}

}  // namespace qs
