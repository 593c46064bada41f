#include "Library/MailFolderWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr int kQuietMilliseconds = 150;
constexpr int kMostRounds = 20;  // of waiting for quiet, so that a busy folder is looked at too
constexpr std::size_t kMostNames = 1000;
constexpr std::uint32_t kEvents = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR;

}  // namespace

MailFolderWatch::MailFolderWatch(std::function<void(const Changes&)> changed)
    : changed_(std::move(changed)),
      events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (events_ < 0 || wake_ < 0) {
        logWarning("cannot watch the mail folders: " + std::system_category().message(errno) +
                   "; changes of other programs are seen at the next start");
        return;
    }
    thread_ = std::thread([this] { run(); });
}

void MailFolderWatch::stop() {
    if (!thread_.joinable()) return;
    const std::uint64_t one = 1;
    while (::write(wake_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
}

MailFolderWatch::~MailFolderWatch() {
    stop();
    if (events_ >= 0) ::close(events_);
    if (wake_ >= 0) ::close(wake_);
}

void MailFolderWatch::add(const std::filesystem::path& folder) {
    const std::lock_guard hold(lock_);
    if (events_ < 0 || !known_.insert(folder).second) return;
    const int number = ::inotify_add_watch(events_, folder.c_str(), kEvents);
    if (number >= 0) {
        folders_[number] = folder;
        return;
    }
    known_.erase(folder);
    logWarning("cannot watch " + folder.string() + ": " + std::system_category().message(errno));
}

void MailFolderWatch::forget(const std::filesystem::path& folder) {
    const std::lock_guard hold(lock_);
    std::erase_if(folders_, [&](const auto& entry) {
        const auto& [number, watched] = entry;
        if (watched != folder && watched.parent_path() != folder) return false;
        ::inotify_rm_watch(events_, number);
        known_.erase(watched);
        return true;
    });
}

void MailFolderWatch::run() {
    std::array<pollfd, 2> waited{
        {{.fd = events_, .events = POLLIN, .revents = 0}, {.fd = wake_, .events = POLLIN, .revents = 0}}};
    for (;;) {
        if (::poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) return;
        if (waited[1].revents != 0) return;
        Changes changes;
        bool isComplete = true;
        for (int round = 0; round < kMostRounds; ++round) {
            readEvents(changes, isComplete);
            const int ready = ::poll(waited.data(), waited.size(), kQuietMilliseconds);
            if (waited[1].revents != 0) return;
            if (ready <= 0) break;
        }
        if (!isComplete) {  // the kernel dropped some: everything may have changed
            const std::lock_guard hold(lock_);
            changes.clear();
            for (const auto& [number, folder] : folders_)
                changes[folder];
        }
        if (changes.empty()) continue;
        try {
            changed_(changes);
        } catch (const std::exception& exception) {
            logError("taking up changes in mail folders: " + std::string(exception.what()));
        }
    }
}

void MailFolderWatch::readEvents(Changes& changes, bool& isComplete) {
    alignas(inotify_event) std::array<char, 16 * 1024> buffer{};
    const std::lock_guard hold(lock_);
    for (;;) {
        const ssize_t length = ::read(events_, buffer.data(), buffer.size());
        if (length <= 0) return;
        for (std::size_t at = 0; at + sizeof(inotify_event) <= static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const char* const name = buffer.data() + at + sizeof event;
            at += sizeof event + event.len;
            if ((event.mask & IN_Q_OVERFLOW) != 0) isComplete = false;
            const auto folder = folders_.find(event.wd);
            if (folder == folders_.end()) continue;
            if ((event.mask & IN_IGNORED) != 0) {  // the folder itself went away
                changes[folder->second.parent_path()];
                known_.erase(folder->second);
                folders_.erase(folder);
            } else if (event.len > 0) {
                noteName(changes, folder->second, std::string(name, ::strnlen(name, event.len)));
            }
        }
    }
}

void MailFolderWatch::noteName(Changes& changes, const std::filesystem::path& folder, const std::string& name) {
    const bool isNew = !changes.contains(folder);
    std::set<std::string>& names = changes[folder];
    if (!isNew && names.empty()) return;  // everything is looked at already
    names.insert(name);
    if (names.size() > kMostNames) names.clear();
}

}  // namespace qs
