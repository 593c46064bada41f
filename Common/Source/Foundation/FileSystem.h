// The one door to durable files. Everything that a user would miss is written through it, so that a test can fail it at
// any step, cut the power, and look at what a disk that forgot its unsynced data would hold.
//
// Folders are made 0700 and files 0600. Every call blocks. Safe from every thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

inline constexpr std::string_view kFileErrorDomain = "FileSystem";  // code: the errno

// A file to be written, with its content, which must outlive the call.
struct FileToWrite {
    std::filesystem::path file;
    std::string_view content;
};

struct FileInfo {
    std::filesystem::path path;
    bool isFolder = false;
    std::uintmax_t size = 0;
    Date modified;
};

// A file opened for reading, which it stays whatever becomes of its name. Safe from every thread.
class OpenFile {
public:
    virtual ~OpenFile() = default;
    virtual std::uint64_t size() const = 0;  // when it was opened
    // Fills a part of the buffer and answers how much of it; 0 behind the end.
    virtual Result<std::size_t> readAt(std::uint64_t place, char* buffer, std::size_t size) const = 0;
};
std::shared_ptr<const OpenFile> openText(std::string text);        // as if it were a file
ByteSource sourceOf(std::shared_ptr<const OpenFile> file);         // from its start
Result<bool> areSame(const OpenFile& one, const OpenFile& other);  // byte by byte

class FileSystem {
public:
    virtual ~FileSystem() = default;
    static FileSystem& real();

    virtual Result<std::string> read(const std::filesystem::path& file) = 0;
    // Creates the file, writes everything and syncs it. Fails if it exists. After a failure no file is left behind.
    virtual Result<void> writeNew(const std::filesystem::path& file, std::string_view content) = 0;
    // Appends and syncs; creates the file if there is none. A power cut may leave a part of `content` at the end.
    virtual Result<void> append(const std::filesystem::path& file, std::string_view content) = 0;
    // Replaces `to` if it exists. Durable only after syncFolder on the folders of both.
    virtual Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // Fails if `to` exists. Durable only after syncFolder. For claims that exactly one of several may win.
    virtual Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    virtual Result<void> remove(const std::filesystem::path& file) = 0;  // a missing file is an error (ENOENT)
    virtual Result<void> syncFolder(const std::filesystem::path& folder) = 0;
    // With its parents. An existing folder is a success.
    virtual Result<void> makeFolder(const std::filesystem::path& folder) = 0;
    virtual Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) = 0;
    virtual Result<FileInfo> info(const std::filesystem::path& file) = 0;

    // The first bytes of a file, at most `limit`.
    virtual Result<std::string> readStart(const std::filesystem::path& file, std::size_t limit) {
        auto content = read(file);
        if (content && content->size() > limit) content->resize(limit);
        return content;
    }
    // For files of any size. A file system may read it whole now.
    virtual Result<std::shared_ptr<const OpenFile>> open(const std::filesystem::path& file);
    // As writeNew(), for content of any size. What the source fails with is passed on.
    virtual Result<void> writeNewFrom(const std::filesystem::path& file, const ByteSource& content);
    // Bytes that can still be written below the folder; as many as there can be when nobody knows.
    virtual std::uint64_t freeSpace(const std::filesystem::path& folder);
    // As list(), in any order and without holding all names at once: for folders of any size. `visit` must not change
    // the folder.
    virtual Result<void> forEachName(const std::filesystem::path& folder,
                                     const std::function<void(const std::string& name, bool isFolder)>& visit) {
        const auto files = list(folder);
        if (!files) return failed(files);
        for (const FileInfo& file : *files)
            visit(file.path.filename().string(), file.isFolder);
        return {};
    }
    // As writeNew() for each, with all of them synced when it returns: for many files cheaper than one by one. After a
    // failure none is left behind, as far as the disk lets them be removed.
    virtual Result<void> writeAllNew(const std::vector<FileToWrite>& files);
    // A convenience for other programs; never synced. A file system may do without.
    virtual void setModified(const std::filesystem::path& file, Date modified) { (void)file, (void)modified; }

    bool exists(const std::filesystem::path& file) { return info(file).has_value(); }
    // Whole-file replace: a temporary file beside it, written and synced, renamed over it, the folder synced. After a
    // power cut or a failure the file holds the old content or the new one, whole.
    Result<void> replace(const std::filesystem::path& file, std::string_view content);
};

}  // namespace qs
