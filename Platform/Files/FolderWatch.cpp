#include "Files/FolderWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

namespace qs {

namespace {

class InotifyWatch : public FolderWatch {
public:
    explicit InotifyWatch(std::function<void(std::string_view)> handler) : handler_(std::move(handler)) {}
    ~InotifyWatch() override {
        if (thread_.joinable()) {
            const std::uint64_t one = 1;
            while (::write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
            }
            thread_.join();
        }
        if (stop_ >= 0) ::close(stop_);
        if (events_ >= 0) ::close(events_);
    }

    bool start(const std::filesystem::path& folder, Tells tells) {
        events_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        stop_ = ::eventfd(0, EFD_CLOEXEC);
        if (events_ < 0 || stop_ < 0) return false;
        if (tells != Tells::WrittenFiles) wanted_ |= IN_DELETE | IN_MOVED_FROM;
        if (tells == Tells::FoldersToo) wanted_ |= IN_CREATE;
        if (!alsoWatch(folder)) return false;
        thread_ = std::thread([this] { run(); });
        return true;
    }

    bool alsoWatch(const std::filesystem::path& folder) override {
        return ::inotify_add_watch(events_, folder.c_str(), wanted_) >= 0;
    }

private:
    void run() {
        // Signals are the main thread's business.
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        for (;;) {
            std::array<pollfd, 2> ready{pollfd{stop_, POLLIN, 0}, pollfd{events_, POLLIN, 0}};
            if (::poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR) return;
            if (ready[0].revents != 0) return;
            if (ready[1].revents != 0) readEvents();
        }
    }

    void readEvents() {
        alignas(inotify_event) std::array<char, 16 * 1024> buffer;
        const ssize_t length = ::read(events_, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < length;) {
            inotify_event event;
            const char* start = buffer.data() + at;
            std::memcpy(&event, start, sizeof event);
            if (event.len > 0) handler_(std::string_view(start + sizeof event));  // padded with zero bytes
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }

    std::function<void(std::string_view)> handler_;
    int events_ = -1, stop_ = -1;
    std::uint32_t wanted_ = IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<FolderWatch> FolderWatch::make(const std::filesystem::path& folder,
                                               std::function<void(std::string_view)> handler, Tells tells) {
    auto watch = std::make_unique<InotifyWatch>(std::move(handler));
    if (!watch->start(folder, tells)) return nullptr;
    return watch;
}

}  // namespace qs
