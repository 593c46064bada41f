// A disk in memory that fails where a test wants it to, and that can tell what would be left of it after a power cut.
//
// Steps are the calls that change something: writeNew, append, rename, renameNew, remove, makeFolder, syncFolder. The
// first is step 1. What a power cut may take: a file's content until it was synced (writeNew and append sync it), and
// each creation, renaming and removal of a name until syncFolder was called on its folder. A renaming across folders is
// safe once both were synced; with only the new folder synced both names may be there. Folders are durable when made.
// Renaming a folder is not modelled: it fails with EISDIR.
//
//     for (int cut = 1;; ++cut) {
//         TornDisk disk({.step = cut, .fault = TornDisk::Fault::PowerCut});
//         const bool saved = ...;
//         for (unsigned seed = 0; seed < 20; ++seed) check(*disk.afterPowerCut(seed));
//         if (disk.steps() < cut) break;  // the cut came after the last step
//     }
#pragma once

#include <map>
#include <mutex>
#include <optional>

#include "Foundation/FileSystem.h"

namespace qs {

class TornDisk : public FileSystem {
public:
    enum class Fault {
        Error,       // the step fails with EIO and changes nothing
        NoSpace,     // the step fails with ENOSPC; what it creates is removed again, as far as its contract says so
        ShortWrite,  // half of the content is written before the step fails; an append leaves it there
        PowerCut,    // the step and every later call fail with EIO; how much of the step was done nobody knows
    };
    struct Plan {
        int step = 0;  // 0: no fault
        Fault fault = Fault::Error;
        bool lasting = false;  // every later step fails in the same way, as on a disk that stays full
    };

    TornDisk();
    explicit TornDisk(Plan plan);

    // Steps are counted from this call on.
    void failAt(Plan plan);
    int steps() const;  // asked for since the plan was made, the failed one included

    // What the disk holds when the power comes back, on a fresh disk without a plan. Without a seed everything unsynced
    // is lost; with one each unsynced step may have reached the disk or not, and content that was being written may be
    // there in part.
    std::unique_ptr<TornDisk> afterPowerCut(std::optional<unsigned> seed = {}) const;

    // All files by path with their contents, as the running program sees them. For comparing.
    std::map<std::string, std::string> contents() const;
    // Changes bytes behind the program's back, durably, as a faulty disk or another program would.
    void put(const std::filesystem::path& file, std::string content);

    Result<std::string> read(const std::filesystem::path& file) override;
    Result<void> writeNew(const std::filesystem::path& file, std::string_view content) override;
    Result<void> append(const std::filesystem::path& file, std::string_view content) override;
    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) override;
    Result<void> remove(const std::filesystem::path& file) override;
    Result<void> syncFolder(const std::filesystem::path& folder) override;
    Result<void> makeFolder(const std::filesystem::path& folder) override;
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override;
    Result<FileInfo> info(const std::filesystem::path& file) override;

private:
    using Path = std::string;  // lexically normal, without a slash at its end
    struct File {
        std::string content;  // as the program sees it
        std::string durable;  // as it was when last synced
        double modified = 0;
    };
    using FileRef = std::shared_ptr<File>;
    using Names = std::map<Path, FileRef>;
    // A change of names that not every folder concerned has synced. An empty `from` is a creation, an empty `to` a
    // removal.
    struct Change {
        Path from, to;
        FileRef file;
        bool fromIsSynced = false;
    };

    // Whether this step is to fail, and how. Counts it.
    std::optional<Fault> nextStep();
    Result<void> checkParent(const Path& file) const;
    Result<void> checkIsNoFolder(const Path& file) const;
    Result<void> write(const Path& file, std::string_view content, std::optional<Fault> fault);
    Result<void> rename(const Path& from, const Path& to, bool onlyNew);
    // Seen at once, durable when its folders are synced.
    void change(Change change);
    static void apply(const Change& change, Names& names);

    mutable std::mutex lock_;
    Plan plan_;
    int steps_ = 0;
    bool isCut_ = false;
    double clock_ = 0;              // counts changes, so that a file's time differs after each
    Names names_;                   // as the program sees them
    Names durable_;                 // as synced
    std::map<Path, bool> folders_;  // and whether it is on the disk for certain
    std::vector<Change> changes_;   // in order
};

}  // namespace qs
