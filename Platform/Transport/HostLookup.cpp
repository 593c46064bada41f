#include "Transport/HostLookup.h"

#include <netdb.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

namespace qs {

namespace {

// Owned by both sides: the asker may be gone when the resolver answers at last.
struct Lookup {
    Lookup() : done(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Lookup() { ::close(done); }
    Lookup(const Lookup&) = delete;
    Lookup& operator=(const Lookup&) = delete;

    const int done;
    std::mutex lock;
    std::vector<SocketAddress> found;
};

std::vector<SocketAddress> addresses(const std::string& host, int port, int flags) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | flags;
    addrinfo* list = nullptr;
    std::vector<SocketAddress> found;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list) != 0) return found;
    for (const addrinfo* each = list; each; each = each->ai_next) {
        SocketAddress& address = found.emplace_back();
        address.size = each->ai_addrlen;
        std::memcpy(&address.bytes, each->ai_addr, each->ai_addrlen);
    }
    ::freeaddrinfo(list);
    return found;
}

}  // namespace

Result<std::vector<SocketAddress>> lookUpHost(const std::string& host, int port,
                                              const std::function<Result<void>(int)>& wait) {
    if (auto numeric = addresses(host, port, AI_NUMERICHOST); !numeric.empty()) return numeric;
    auto lookup = std::make_shared<Lookup>();
    std::thread([lookup, host, port] {
        auto found = addresses(host, port, AI_ADDRCONFIG);
        {
            const std::lock_guard guard(lookup->lock);
            lookup->found = std::move(found);
        }
        ::eventfd_write(lookup->done, 1);
    }).detach();
    if (auto waited = wait(lookup->done); !waited) return failed(waited);
    const std::lock_guard guard(lookup->lock);
    return std::move(lookup->found);
}

}  // namespace qs
