// Watches folders for what other programs change in them, on a thread of its own. Waits until it is quiet for a moment,
// then tells everything at once. Folders that can't be watched are left out, with a log line.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace qs {

class MailFolderWatch {
public:
    // By folder: the names that came or went. An empty set: more than can be told one by one, look at everything.
    using Changes = std::map<std::filesystem::path, std::set<std::string>>;
    // Called on the watch's thread.
    explicit MailFolderWatch(std::function<void(const Changes&)> changed);
    ~MailFolderWatch();
    MailFolderWatch(const MailFolderWatch&) = delete;
    MailFolderWatch& operator=(const MailFolderWatch&) = delete;

    // Once more does nothing. From every thread.
    void add(const std::filesystem::path& folder);
    // It and the folders in it are gone, or lie elsewhere now. From every thread.
    void forget(const std::filesystem::path& folder);
    void stop();  // waits for a call under way

private:
    void run();
    void readEvents(Changes& changes, bool& isComplete);
    void noteName(Changes& changes, const std::filesystem::path& folder, const std::string& name);

    const std::function<void(const Changes&)> changed_;
    int events_ = -1, wake_ = -1;
    std::mutex lock_;
    std::map<int, std::filesystem::path> folders_;
    std::set<std::filesystem::path> known_;
    std::thread thread_;
};

}  // namespace qs
