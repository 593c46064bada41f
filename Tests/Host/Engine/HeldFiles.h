// A disk on which messages of Maildir folders can't be read for the index until the test lets them be: a
// library over it stands in the middle of its work for as long as the test wants.
#pragma once

#include <condition_variable>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Foundation/FileSystem.h"
#include "Support/Waiting.h"

namespace qs {

class HeldFiles : public FileSystem {
public:
    enum class Holds { Everybody, FirstToCome };  // whose thread; the others pass then
    explicit HeldFiles(FileSystem& files = FileSystem::real(), Holds holds = Holds::Everybody)
        : files_(files), holds_(holds) {}

    // So many more are read, and then none.
    void letPass(int files) {
        const std::lock_guard hold(lock_);
        free_ += files;
        changed_.notify_all();
    }
    void letAllPass() {
        const std::lock_guard hold(lock_);
        free_ = std::numeric_limits<int>::max();
        changed_.notify_all();
    }
    // Until somebody waits here.
    void waitUntilHeld() {
        std::unique_lock hold(lock_);
        if (!changed_.wait_for(hold, kLongestWait, [this] { return waiting_ > 0; }))
            throw std::runtime_error("nobody reads a message");
    }

    Result<std::string> read(const std::filesystem::path& file) override { return files_.read(file); }
    Result<std::string> readStart(const std::filesystem::path& file, std::size_t limit) override {
        const std::string folder = file.parent_path().filename();
        if (folder == "cur" || folder == "new") pass();
        return files_.readStart(file, limit);
    }
    Result<void> writeNew(const std::filesystem::path& file, std::string_view content) override {
        return files_.writeNew(file, content);
    }
    Result<void> append(const std::filesystem::path& file, std::string_view content) override {
        return files_.append(file, content);
    }
    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return files_.rename(from, to);
    }
    Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return files_.renameNew(from, to);
    }
    Result<void> remove(const std::filesystem::path& file) override { return files_.remove(file); }
    Result<void> syncFolder(const std::filesystem::path& folder) override { return files_.syncFolder(folder); }
    Result<void> makeFolder(const std::filesystem::path& folder) override { return files_.makeFolder(folder); }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override { return files_.list(folder); }
    Result<FileInfo> info(const std::filesystem::path& file) override { return files_.info(file); }

private:
    void pass() {
        std::unique_lock hold(lock_);
        if (first_ == std::thread::id()) first_ = std::this_thread::get_id();
        if (holds_ == Holds::FirstToCome && first_ != std::this_thread::get_id()) return;
        ++waiting_;
        changed_.notify_all();
        changed_.wait(hold, [this] { return free_ > 0; });
        --free_;
        --waiting_;
    }

    FileSystem& files_;
    const Holds holds_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::thread::id first_;
    int free_ = 0, waiting_ = 0;
};

}  // namespace qs
