// The real disk, which remembers the most bytes of a file that anybody held at once because of a call: what was read
// whole, written whole, or asked for as a piece. Tells without looking at the machine's memory whether what is large is
// handled in pieces.
#pragma once

#include <atomic>

#include "Foundation/FileSystem.h"

namespace qs {

class MeasuredFiles : public FileSystem {
public:
    std::size_t largest() const { return *largest_; }
    void forget() { *largest_ = 0; }
    std::atomic<std::uint64_t> space = std::uint64_t{1} << 62;  // that it says is free

    Result<std::string> read(const std::filesystem::path& file) override;
    Result<void> writeNew(const std::filesystem::path& file, std::string_view content) override;
    Result<void> append(const std::filesystem::path& file, std::string_view content) override;
    Result<std::string> readStart(const std::filesystem::path& file, std::size_t limit) override;
    Result<std::shared_ptr<const OpenFile>> open(const std::filesystem::path& file) override;
    Result<void> writeNewFrom(const std::filesystem::path& file, const ByteSource& content) override;
    std::uint64_t freeSpace(const std::filesystem::path&) override { return space; }

    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return real().rename(from, to);
    }
    Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return real().renameNew(from, to);
    }
    Result<void> remove(const std::filesystem::path& file) override { return real().remove(file); }
    Result<void> syncFolder(const std::filesystem::path& folder) override { return real().syncFolder(folder); }
    Result<void> makeFolder(const std::filesystem::path& folder) override { return real().makeFolder(folder); }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override { return real().list(folder); }
    Result<FileInfo> info(const std::filesystem::path& file) override { return real().info(file); }

private:
    void held(std::size_t bytes) { note(*largest_, bytes); }
    static void note(std::atomic<std::size_t>& largest, std::size_t bytes);
    class Opened;

    // Shared with the files that are still open.
    std::shared_ptr<std::atomic<std::size_t>> largest_ = std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace qs
