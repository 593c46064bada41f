#include "EndWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace qs {

EndWatch::EndWatch(int process, std::function<void()> handler) {
    sigset_t ends;
    ::sigemptyset(&ends);
    for (const int each : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&ends, each);
    ::pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    signals_ = ::signalfd(-1, &ends, SFD_CLOEXEC);
    stop_ = ::eventfd(0, EFD_CLOEXEC);
    bool isGone = false;
    if (process > 0) {
        process_ = static_cast<int>(::syscall(SYS_pidfd_open, process, 0u));
        isGone = process_ < 0 && errno == ESRCH;
    }
    thread_ = std::thread([this, isGone, handler = std::move(handler)] {
        std::array<pollfd, 3> ready{pollfd{stop_, POLLIN, 0}, pollfd{signals_, POLLIN, 0}, pollfd{process_, POLLIN, 0}};
        while (!isGone && ::poll(ready.data(), ready.size(), -1) < 0 && errno == EINTR) {
        }
        if (ready[0].revents == 0) handler();
    });
}

EndWatch::~EndWatch() {
    const std::uint64_t one = 1;
    while (::write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    for (const int each : {signals_, process_, stop_})
        if (each >= 0) ::close(each);
}

}  // namespace qs
