// Makes two threads take turns at their file operations, in an order that a test chooses: which of them goes next is
// asked whenever both stand before one, or one does and the other can't go on without it.
//
//     Turns turns(disk);                           // a FileSystem around another
//     turns.run([] { takeBack(); }, [] { startDelivery(); }, choose);
//
// No timing is involved: whether a thread waits for the other is seen by asking the kernel whether it stands at a lock.
// If that is a lock of somebody else, the order becomes another one, never a wrong one.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "Foundation/FileSystem.h"

namespace qs {

class Turns : public FileSystem {
public:
    enum Actor { First, Second };
    struct Passed {
        std::array<int, 2> operations{};  // done so far, by actor
        bool waits[2] = {};               // who stands before one now; at least one does
    };
    // Answers who goes next: one that waits.
    using Choose = std::function<Actor(const Passed&)>;

    explicit Turns(FileSystem& files) : files_(files) {}

    // Runs `first` on a thread of its own, and `second` here, which must start work on some other thread; every file
    // operation of a thread that is neither this one nor the first's counts as the second's. The first's beginning
    // counts as an operation of its own. Returns how many each did
    // when neither goes on; work of the second may then still be under way, and passes freely.
    std::array<int, 2> run(const std::function<void()>& first, const std::function<void()>& second,
                           const Choose& choose);

    Result<std::string> read(const std::filesystem::path& file) override { return turn()->read(file); }
    Result<void> writeNew(const std::filesystem::path& file, std::string_view content) override {
        return turn()->writeNew(file, content);
    }
    Result<void> append(const std::filesystem::path& file, std::string_view content) override {
        return turn()->append(file, content);
    }
    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return turn()->rename(from, to);
    }
    Result<void> renameNew(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return turn()->renameNew(from, to);
    }
    Result<void> remove(const std::filesystem::path& file) override { return turn()->remove(file); }
    Result<void> syncFolder(const std::filesystem::path& folder) override { return turn()->syncFolder(folder); }
    Result<void> makeFolder(const std::filesystem::path& folder) override { return turn()->makeFolder(folder); }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override { return turn()->list(folder); }
    Result<FileInfo> info(const std::filesystem::path& file) override { return turn()->info(file); }

private:
    struct State {
        int thread = 0;  // the kernel's number; 0: not seen yet
        bool waits = false, mayGo = false, isOver = false;
        int passed = 0;
    };

    FileSystem* turn();  // waits for it
    bool neitherGoesOn();

    FileSystem& files_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::atomic<bool> isOn_ = false;
    int conductor_ = 0, firstThread_ = 0;
    std::array<State, 2> actors_;
};

}  // namespace qs
