// For tests that kill the program with SIGKILL at a chosen file operation. The program is the test executable itself,
// started anew with one (disabled) test that plays its part, on a real disk.
#pragma once

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Foundation/FileSystem.h"

namespace qs {

// Of the environment; empty for none.
std::string variable(const char* name);

// Starts that test in a process of its own, with these assignments in its environment. Its output goes to `log`.
pid_t startPart(const std::string& test, const std::vector<std::string>& assignments, const std::filesystem::path& log);
// The same, and waits for its end. `started` gets the process; `ended` is called when it has ended and its number is
// still its own. Returns waitpid's status.
int runPart(const std::string& test, const std::vector<std::string>& assignments, const std::filesystem::path& log,
            const std::function<void(pid_t)>& started = {}, const std::function<void()>& ended = {});
bool wasKilled(int status);
bool endedWell(int status);

// The real disk, until the given operation.
class DeadlyFileSystem : public FileSystem {
public:
    // Operation number `at` is the last one; it is still done when `isDone` is set. 0: none.
    DeadlyFileSystem(int at, bool isDone) : at_(at), isDone_(isDone) {}
    DeadlyFileSystem() = default;
    // Counted from here.
    void killAt(int at, bool isDone) {
        steps_ = 0;
        isDone_ = isDone;
        at_ = at;
    }

    Result<std::string> read(const std::filesystem::path& file) override { return files_.read(file); }
    Result<void> writeNew(const std::filesystem::path& file, std::string_view content) override {
        return step([&] { return files_.writeNew(file, content); });
    }
    Result<void> append(const std::filesystem::path& file, std::string_view content) override {
        return step([&] { return files_.append(file, content); });
    }
    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return step([&] { return files_.rename(from, to); });
    }
    Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return step([&] { return files_.renameNew(from, to); });
    }
    Result<void> remove(const std::filesystem::path& file) override {
        return step([&] { return files_.remove(file); });
    }
    // A killed process leaves what it wrote, so these need not really wait for the disk.
    Result<void> syncFolder(const std::filesystem::path& folder) override {
        return step([&] { return files_.exists(folder) ? Result<void>() : files_.syncFolder(folder); });
    }
    Result<void> makeFolder(const std::filesystem::path& folder) override { return files_.makeFolder(folder); }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override { return files_.list(folder); }
    Result<FileInfo> info(const std::filesystem::path& file) override { return files_.info(file); }
    Result<void> forEachName(const std::filesystem::path& folder,
                             const std::function<void(const std::string&, bool)>& visit) override {
        return files_.forEachName(folder, visit);
    }
    Result<std::string> readStart(const std::filesystem::path& file, std::size_t limit) override {
        return files_.readStart(file, limit);
    }
    void setModified(const std::filesystem::path& file, Date modified) override { files_.setModified(file, modified); }

private:
    template <class Work>
    Result<void> step(Work work) {
        const bool isLast = ++steps_ == at_;
        if (isLast && !isDone_) kill(getpid(), SIGKILL);
        auto result = work();
        if (isLast) kill(getpid(), SIGKILL);
        return result;
    }

    FileSystem& files_ = FileSystem::real();
    std::atomic<int> at_ = 0;
    std::atomic<bool> isDone_ = false;
    std::atomic<int> steps_ = 0;
};

}  // namespace qs
