// Stands between SQLite and the disk while it lives: counts what SQLite does to its files, and can tell what a disk
// would hold after a power cut at any step, unsynced data lost, kept or torn.
//
// Steps are creations, writes, truncations, syncs and removals, and syncs of folders through files(), from 1. The
// shared memory beside a write-ahead log is no part of it: nobody relies on that after a crash. One at a time, in one
// thread.
//
//     RecordingVfs disk;
//     ... use databases ...
//     for (std::size_t cut = 0; cut <= disk.steps(); ++cut)
//         disk.writeImage(cut, 17, folder / "file", folder / "copy");
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qs {

class FileSystem;

class RecordingVfs {
public:
    RecordingVfs();
    ~RecordingVfs();
    RecordingVfs(const RecordingVfs&) = delete;
    RecordingVfs& operator=(const RecordingVfs&) = delete;

    std::size_t steps() const { return operations_.size(); }
    // Asked before and after each step; may end the process.
    void setStepHandler(std::function<void(std::size_t step, bool isDone)> handler) { handler_ = std::move(handler); }

    // Writes the database `file` with its side files as `copy`, as a disk would hold them on which the power went after
    // that many steps. Without a seed all that was not synced is lost.
    void writeImage(std::size_t steps, std::optional<unsigned> seed, const std::filesystem::path& file,
                    const std::filesystem::path& copy) const;

    // The real files, whose folders are synced as steps.
    FileSystem& files() { return *files_; }

    // For the functions that SQLite calls.
    struct Operation {
        enum class Kind { Create, Write, Truncate, Sync, Remove, SyncFolder };
        Kind kind;
        std::string file;
        std::int64_t offset = 0;  // Truncate: the new size
        std::string bytes = {};
        bool isSynced = false;  // Remove: with its folder
    };
    void begin(Operation operation);
    void end();
    void noteOpened(const std::string& file);

private:
    std::vector<Operation> operations_;
    std::map<std::string, std::optional<std::string>> atFirst_;  // what each file held when it was first opened
    std::function<void(std::size_t, bool)> handler_;
    std::unique_ptr<FileSystem> files_;
};

}  // namespace qs
