#include "Support/CuttingProxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace qs {

namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool sendAll(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = ::send(socket, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

}  // namespace

struct CuttingProxy::State {
    std::mutex lock;
    std::array<std::uint64_t, 2> passed{}, limit{kNever, kNever};  // from the client, from the server
    bool isStopping = false, isDown = false;
    std::vector<int> sockets;
    std::vector<std::thread> threads;
    std::recursive_mutex meddling;  // one line at a time
    Meddle meddle;
    int listener = -1, port = 0;

    void set(std::uint64_t sent, std::uint64_t received) {
        const std::lock_guard hold(lock);
        passed = {};
        limit = {sent, received};
        isDown = false;
    }
    // How many of the bytes may pass.
    std::size_t allowed(std::size_t direction, std::size_t count) {
        const std::lock_guard hold(lock);
        if (passed[0] >= limit[0] || passed[1] >= limit[1]) return 0;
        const auto may = static_cast<std::size_t>(std::min<std::uint64_t>(count, limit[direction] - passed[direction]));
        passed[direction] += may;
        return may;
    }
    void breakAll() {
        const std::lock_guard hold(lock);
        for (const int socket : sockets)
            ::shutdown(socket, SHUT_RDWR);
    }
    // Takes from `held` what may go on, and sends what is said back.
    std::string meddled(std::string& held, int from, bool isFromClient) {
        const std::lock_guard oneByOne(meddling);
        if (!meddle) return std::exchange(held, {});
        std::string onward, back;
        for (std::size_t end = held.find('\n'); end != std::string::npos; end = held.find('\n')) {
            Passing passing = meddle(isFromClient, held.substr(0, end + 1));
            held.erase(0, end + 1);
            onward += passing.onward;
            back += passing.back;
        }
        (void)sendAll(from, back.data(), back.size());
        return onward;
    }
    void pass(int from, int to, std::size_t direction) {
        std::array<char, 16384> buffer{};
        std::string held;
        for (;;) {
            const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
            if (count <= 0) break;
            held.append(buffer.data(), static_cast<std::size_t>(count));
            const std::string onward = meddled(held, from, direction == 0);
            const std::size_t may = allowed(direction, onward.size());
            if (!sendAll(to, onward.data(), may)) break;
            if (may < onward.size()) {
                breakAll();
                break;
            }
        }
        ::shutdown(to, SHUT_WR);
        ::shutdown(from, SHUT_RD);
    }
    void serve(int serverPort) {
        for (;;) {
            const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) return;
            const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const sockaddr_in address = loopback(serverPort);
            // As it comes: held back, each short line would wait for the acknowledgement of the one before.
            const int on = 1;
            for (const int socket : {client, server})
                ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            const std::lock_guard hold(lock);
            sockets.insert(sockets.end(), {client, server});
            // NOLINTNEXTLINE: how sockets are called
            if (isStopping || isDown ||
                ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
                ::shutdown(client, SHUT_RDWR);
                continue;
            }
            threads.emplace_back([this, client, server] { pass(client, server, 0); });
            threads.emplace_back([this, client, server] { pass(server, client, 1); });
        }
    }
};

CuttingProxy::CuttingProxy(int serverPort) : state_(std::make_shared<State>()) {
    state_->listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    // NOLINTNEXTLINE: how sockets are called
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (::bind(state_->listener, plain, size) != 0 || ::listen(state_->listener, 16) != 0 ||
        ::getsockname(state_->listener, plain, &size) != 0)
        throw std::runtime_error("no port for a proxy");
    state_->port = ntohs(address.sin_port);
    const std::lock_guard hold(state_->lock);
    state_->threads.emplace_back([state = state_.get(), serverPort] { state->serve(serverPort); });
}

CuttingProxy::~CuttingProxy() {
    {
        const std::lock_guard hold(state_->lock);
        state_->isStopping = true;
        ::shutdown(state_->listener, SHUT_RDWR);
    }
    state_->breakAll();
    // The first of them accepts, and makes no more once it has ended.
    state_->threads.front().join();
    state_->breakAll();
    for (std::size_t i = 1; i < state_->threads.size(); ++i)
        state_->threads[i].join();
    for (const int socket : state_->sockets)
        ::close(socket);
    ::close(state_->listener);
}

int CuttingProxy::port() const { return state_->port; }
void CuttingProxy::cutAfterSent(std::uint64_t bytes) { state_->set(bytes == 0 ? kNever : bytes, kNever); }
void CuttingProxy::cutAfterReceived(std::uint64_t bytes) { state_->set(kNever, bytes == 0 ? kNever : bytes); }
void CuttingProxy::letPass() { state_->set(kNever, kNever); }
void CuttingProxy::goDown() {
    {
        const std::lock_guard hold(state_->lock);
        state_->isDown = true;
    }
    state_->breakAll();
}

void CuttingProxy::meddle(Meddle meddle) {
    const std::lock_guard oneByOne(state_->meddling);
    state_->meddle = std::move(meddle);
}

std::uint64_t CuttingProxy::sent() const {
    const std::lock_guard hold(state_->lock);
    return state_->passed[0];
}

std::uint64_t CuttingProxy::received() const {
    const std::lock_guard hold(state_->lock);
    return state_->passed[1];
}

}  // namespace qs
