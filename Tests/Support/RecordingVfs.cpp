#include "Support/RecordingVfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "Foundation/FileSystem.h"

namespace qs {
namespace {

using Operation = RecordingVfs::Operation;
using Kind = Operation::Kind;

constexpr std::size_t kSector = 512;

RecordingVfs* recorder = nullptr;
sqlite3_vfs* below = nullptr;
sqlite3_vfs shim;

// One of SQLite's files: ours, then that of the disk.
struct File {
    sqlite3_file base;
    std::string* path;  // null for what is no part of a database
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

File& ours(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
sqlite3_file* real(sqlite3_file* file) { return ours(file).real(); }

template <class Work>
int recorded(sqlite3_file* file, Operation operation, Work work) {
    const std::string* path = ours(file).path;
    if (!path || !recorder) return work();
    operation.file = *path;
    recorder->begin(std::move(operation));
    const int result = work();
    recorder->end();
    return result;
}

int closeFile(sqlite3_file* file) {
    const int result = real(file)->pMethods->xClose(real(file));
    delete ours(file).path;
    return result;
}
int readFile(sqlite3_file* file, void* to, int count, sqlite3_int64 at) {
    return real(file)->pMethods->xRead(real(file), to, count, at);
}
int writeFile(sqlite3_file* file, const void* from, int count, sqlite3_int64 at) {
    const auto* bytes = static_cast<const char*>(from);
    return recorded(file, {.kind = Kind::Write, .file = {}, .offset = at, .bytes = {bytes, bytes + count}},
                    [&] { return real(file)->pMethods->xWrite(real(file), from, count, at); });
}
int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    return recorded(file, {.kind = Kind::Truncate, .file = {}, .offset = size},
                    [&] { return real(file)->pMethods->xTruncate(real(file), size); });
}
// A killed process leaves what it wrote, and the images reckon with syncs, so the disk itself need not wait.
int syncFile(sqlite3_file* file, int) {
    return recorded(file, {.kind = Kind::Sync, .file = {}}, [] { return SQLITE_OK; });
}
int fileSize(sqlite3_file* file, sqlite3_int64* size) { return real(file)->pMethods->xFileSize(real(file), size); }
int lock(sqlite3_file* file, int kind) { return real(file)->pMethods->xLock(real(file), kind); }
int unlock(sqlite3_file* file, int kind) { return real(file)->pMethods->xUnlock(real(file), kind); }
int checkLock(sqlite3_file* file, int* out) { return real(file)->pMethods->xCheckReservedLock(real(file), out); }
int control(sqlite3_file* file, int what, void* with) {
    return real(file)->pMethods->xFileControl(real(file), what, with);
}
int sectorSize(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }
int traits(sqlite3_file* file) { return real(file)->pMethods->xDeviceCharacteristics(real(file)); }
int sharedMap(sqlite3_file* file, int page, int size, int extend, void volatile** out) {
    return real(file)->pMethods->xShmMap(real(file), page, size, extend, out);
}
int sharedLock(sqlite3_file* file, int offset, int count, int flags) {
    return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}
void sharedBarrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }
int sharedUnmap(sqlite3_file* file, int remove) { return real(file)->pMethods->xShmUnmap(real(file), remove); }

// Without memory mapping of the database itself: version 2 of the table.
const sqlite3_io_methods kMethods{2,          closeFile,     readFile,    writeFile, truncateFile, syncFile, fileSize,
                                  lock,       unlock,        checkLock,   control,   sectorSize,   traits,   sharedMap,
                                  sharedLock, sharedBarrier, sharedUnmap, nullptr,   nullptr};

int openFile(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags) {
    constexpr int kDatabaseParts = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
    const bool isPart = recorder && name && (flags & kDatabaseParts) != 0;
    const bool isNew = isPart && !std::filesystem::exists(name);
    if (isPart) recorder->noteOpened(name);
    if (isNew) recorder->begin({.kind = Kind::Create, .file = name});
    const int result = below->xOpen(below, name, real(file), flags, outFlags);
    if (isNew) recorder->end();
    file->pMethods = nullptr;
    ours(file).path = isPart ? new std::string(name) : nullptr;
    if (real(file)->pMethods)
        file->pMethods = &kMethods;
    else
        delete ours(file).path;
    return result;
}

int removeFile(sqlite3_vfs*, const char* name, int syncFolder) {
    if (recorder) recorder->begin({.kind = Kind::Remove, .file = name, .isSynced = syncFolder != 0});
    const int result = below->xDelete(below, name, 0);
    if (recorder) recorder->end();
    return result;
}

class RecordedFiles : public FileSystem {
public:
    using Path = std::filesystem::path;
    Result<std::string> read(const Path& file) override { return real().read(file); }
    Result<void> writeNew(const Path& file, std::string_view content) override {
        return real().writeNew(file, content);
    }
    Result<void> append(const Path& file, std::string_view content) override { return real().append(file, content); }
    Result<void> rename(const Path& from, const Path& to) override { return real().rename(from, to); }
    Result<void> renameNew(const Path& from, const Path& to) override { return real().renameNew(from, to); }
    Result<void> remove(const Path& file) override { return real().remove(file); }
    Result<void> makeFolder(const Path& folder) override { return real().makeFolder(folder); }
    Result<std::vector<FileInfo>> list(const Path& folder) override { return real().list(folder); }
    Result<FileInfo> info(const Path& file) override { return real().info(file); }
    Result<void> syncFolder(const Path& folder) override {
        recorder->begin({.kind = Kind::SyncFolder, .file = folder});
        recorder->end();
        return {};
    }
};

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void apply(const Operation& operation, std::string& content) {
    const auto offset = static_cast<std::size_t>(operation.offset);
    if (operation.kind == Kind::Truncate) return content.resize(offset);
    if (content.size() < offset + operation.bytes.size()) content.resize(offset + operation.bytes.size());
    content.replace(offset, operation.bytes.size(), operation.bytes);
}

// Sectors that happened to reach the disk.
void applyTorn(const Operation& operation, std::string& content, std::mt19937& random) {
    if (operation.kind == Kind::Truncate) return apply(operation, content);
    for (std::size_t at = 0; at < operation.bytes.size(); at += kSector) {
        if (random() % 2 == 0) continue;
        apply({.kind = Kind::Write,
               .file = {},
               .offset = operation.offset + static_cast<std::int64_t>(at),
               .bytes = operation.bytes.substr(at, kSector)},
              content);
    }
}

struct DiskFile {
    bool isThere = false;           // for the running program
    bool isCertainlyThere = false;  // its name, on the disk
    std::string durable;
    std::vector<const Operation*> unsynced;

    void note(const Operation& operation) {
        switch (operation.kind) {
        case Kind::Create: isThere = true; return;
        case Kind::Remove:
            isThere = false;
            if (operation.isSynced) *this = {};
            return;
        case Kind::SyncFolder:
            isCertainlyThere = isThere;
            if (!isThere) *this = {};
            return;
        case Kind::Sync:
            for (const Operation* each : unsynced)
                apply(*each, durable);
            unsynced.clear();
            isCertainlyThere = true;
            return;
        default: unsynced.push_back(&operation);
        }
    }
    std::optional<std::string> afterPowerCut(std::mt19937* random) const {
        const auto happens = [&] { return random && (*random)() % 2 == 0; };
        const bool isKept = isThere == isCertainlyThere ? isThere : happens();
        if (!isKept) return {};
        std::string content = durable;
        for (const Operation* each : unsynced) {
            if (!random) break;
            switch ((*random)() % 3) {
            case 0: apply(*each, content); break;
            case 1: applyTorn(*each, content, *random); break;
            default: break;  // never arrived
            }
        }
        return content;
    }
};

}  // namespace

RecordingVfs::RecordingVfs() : files_(std::make_unique<RecordedFiles>()) {
    if (recorder) throw std::logic_error("one recorder at a time");
    recorder = this;
    below = sqlite3_vfs_find(nullptr);
    shim = *below;
    shim.szOsFile = static_cast<int>(sizeof(File)) + below->szOsFile;
    shim.zName = "recording";
    shim.xOpen = openFile;
    shim.xDelete = removeFile;
    sqlite3_vfs_register(&shim, 1);
}

RecordingVfs::~RecordingVfs() {
    sqlite3_vfs_unregister(&shim);
    sqlite3_vfs_register(below, 1);
    recorder = nullptr;
}

void RecordingVfs::begin(Operation operation) {
    operations_.push_back(std::move(operation));
    if (handler_) handler_(operations_.size(), false);
}

void RecordingVfs::end() {
    if (handler_) handler_(operations_.size(), true);
}

void RecordingVfs::noteOpened(const std::string& file) {
    if (atFirst_.contains(file)) return;
    atFirst_[file] = std::filesystem::exists(file) ? std::optional(contentOf(file)) : std::nullopt;
}

void RecordingVfs::writeImage(std::size_t steps, std::optional<unsigned> seed, const std::filesystem::path& file,
                              const std::filesystem::path& copy) const {
    std::map<std::string, DiskFile> disk;
    for (const auto& [path, content] : atFirst_)
        if (content) disk[path] = {.isThere = true, .isCertainlyThere = true, .durable = *content};
    for (std::size_t i = 0; i < std::min(steps, operations_.size()); ++i) {
        const Operation& operation = operations_[i];
        if (operation.kind != Kind::SyncFolder) {
            disk[operation.file].note(operation);
            continue;
        }
        for (auto& [path, each] : disk)
            if (std::filesystem::path(path).parent_path() == operation.file) each.note(operation);
    }
    std::mt19937 random(seed.value_or(0));
    for (const char* side : {"", "-wal", "-shm", "-journal"}) {
        const std::string to = copy.string() + side;
        std::filesystem::remove(to);
        const auto content = disk[file.string() + side].afterPowerCut(seed ? &random : nullptr);
        if (content) std::ofstream(to, std::ios::binary) << *content;
    }
}

}  // namespace qs
