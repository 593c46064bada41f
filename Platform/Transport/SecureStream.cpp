#include "Transport/SecureStream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <optional>

#include "Transport/HostLookup.h"
#include "Transport/TlsClient.h"

namespace qs {

namespace {

constexpr std::size_t kDeflatePiece = 16 * 1024;

tl::unexpected<Error> streamFailed(StreamFailure code, std::string description) {
    return failure(std::string(kStreamErrorDomain), static_cast<int>(code), std::move(description));
}

int milliseconds(TimeInterval seconds) {
    return static_cast<int>(std::clamp(std::ceil(seconds * 1000), 0.0, 2'000'000'000.0));
}

void drain(int event) {
    eventfd_t ignored = 0;
    ::eventfd_read(event, &ignored);
}

// Both directions of a connection whose two sides squeeze what they say.
struct Deflate {
    Deflate() {
        isReady = deflateInit2(&out, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK &&
                  inflateInit2(&in, -MAX_WBITS) == Z_OK;
    }
    ~Deflate() {
        deflateEnd(&out);
        inflateEnd(&in);
    }
    Deflate(const Deflate&) = delete;
    Deflate& operator=(const Deflate&) = delete;

    std::string squeezed(std::string_view bytes) {
        std::string result;
        out.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        out.avail_in = static_cast<uInt>(bytes.size());
        do {
            const std::size_t before = result.size();
            result.resize(before + kDeflatePiece);
            out.next_out = reinterpret_cast<Bytef*>(result.data() + before);
            out.avail_out = kDeflatePiece;
            deflate(&out, Z_SYNC_FLUSH);
            result.resize(before + kDeflatePiece - out.avail_out);
        } while (out.avail_out == 0);
        return result;
    }

    // How much of the buffer was filled; 0: more input is needed. Nothing when it is no deflate stream.
    std::optional<std::size_t> spread(char* buffer, std::size_t size) {
        in.next_out = reinterpret_cast<Bytef*>(buffer);
        in.avail_out = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
        const uInt room = in.avail_out;
        const int status = inflate(&in, Z_SYNC_FLUSH);
        if (status != Z_OK && status != Z_BUF_ERROR) return {};
        return room - in.avail_out;
    }

    z_stream out{}, in{};
    bool isReady = false;
    std::string input;  // what `in` still points into
};

}  // namespace

struct SecureStream::Held {
    Held()
        : stop(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}
    ~Held() {
        disconnect();
        for (const int descriptor : {stop, bell, timer})
            ::close(descriptor);
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    const int stop, bell, timer;
    int socket = -1;
    TimeInterval silence = 60;
    std::unique_ptr<TlsClient> tls;
    std::unique_ptr<Deflate> deflate;

    void disconnect() {
        deflate.reset();
        tls.reset();
        if (socket >= 0) ::close(std::exchange(socket, -1));
    }

    void arm(TimeInterval seconds) const {
        itimerspec when{};
        when.it_value.tv_sec = static_cast<time_t>(seconds);
        when.it_value.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
        ::timerfd_settime(timer, 0, &when, nullptr);  // zero disarms
    }

    // Until the descriptor is ready, or something else ends the wait.
    Result<Wait> waitFor(int descriptor, short events, TimeInterval longest, bool hearsBell) const {
        std::array<pollfd, 4> list{pollfd{descriptor, events, 0}, pollfd{stop, POLLIN, 0}, pollfd{timer, POLLIN, 0},
                                   pollfd{hearsBell ? bell : -1, POLLIN, 0}};
        int ready = 0;
        do
            ready = ::poll(list.data(), list.size(), milliseconds(longest));
        while (ready < 0 && errno == EINTR);
        if (list[1].revents) return streamFailed(StreamFailure::Cancelled, "It was cancelled.");
        if (list[2].revents) return streamFailed(StreamFailure::TimedOut, "The server took too long.");
        if (list[3].revents) {
            drain(bell);
            return Wait::Woken;
        }
        if (list[0].revents) return Wait::Readable;
        return Wait::Quiet;
    }

    // A server that never stops talking is never waited for.
    Result<void> mayGoOn() const {
        auto looked = waitFor(-1, 0, 0, false);
        if (!looked) return failed(looked);
        return {};
    }

    Result<void> await(int descriptor, short events) const {
        auto waited = waitFor(descriptor, events, silence, false);
        if (!waited) return failed(waited);
        if (*waited == Wait::Quiet) return streamFailed(StreamFailure::TimedOut, "The server did not answer in time.");
        return {};
    }

    // A connected socket, or -1 when that address does not answer.
    Result<int> connectTo(const SocketAddress& address) const {
        const int made = ::socket(address.bytes.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (made < 0) return -1;
        const auto* place = reinterpret_cast<const sockaddr*>(&address.bytes);
        bool isConnected = ::connect(made, place, address.size) == 0;
        if (!isConnected && errno == EINPROGRESS) {
            auto waited = waitFor(made, POLLOUT, silence, false);
            if (!waited) {
                ::close(made);
                return failed(waited);
            }
            int error = ETIMEDOUT;
            socklen_t size = sizeof error;
            if (*waited == Wait::Readable) ::getsockopt(made, SOL_SOCKET, SO_ERROR, &error, &size);
            isConnected = error == 0;
        }
        if (isConnected) return made;
        ::close(made);
        return -1;
    }

    // 0 when nothing is there and `waits` is false.
    Result<std::size_t> readSocket(char* buffer, std::size_t size, bool waits) {
        for (;;) {
            if (socket < 0) return streamFailed(StreamFailure::HungUp, "The connection is closed.");
            short events = POLLIN;
            ssize_t length = 0;
            if (tls) {
                length = tls->read(buffer, size, events);
            } else {
                length = ::recv(socket, buffer, size, 0);
                if (length < 0 && (errno == EAGAIN || errno == EINTR)) length = TlsClient::kWait;
            }
            if (length > 0) return static_cast<std::size_t>(length);
            if (length != TlsClient::kWait)
                return streamFailed(StreamFailure::HungUp, "The server closed the connection.");
            if (!waits) return 0;
            if (auto waited = await(socket, events); !waited) return failed(waited);
        }
    }

    Result<std::size_t> read(char* buffer, std::size_t size, bool waits) {
        if (auto going = mayGoOn(); !going) return failed(going);
        if (!deflate) return readSocket(buffer, size, waits);
        for (;;) {
            const auto length = deflate->spread(buffer, size);
            if (!length)
                return streamFailed(StreamFailure::Malformed, "What the server sent could not be decompressed.");
            if (*length > 0) return *length;
            deflate->input.resize(kDeflatePiece);
            auto came = readSocket(deflate->input.data(), deflate->input.size(), waits);
            if (!came) return failed(came);
            deflate->in.next_in = reinterpret_cast<Bytef*>(deflate->input.data());
            deflate->in.avail_in = static_cast<uInt>(*came);
            if (*came == 0) return 0;
        }
    }

    Result<void> writeSocket(std::string_view bytes) {
        while (!bytes.empty()) {
            if (socket < 0) return streamFailed(StreamFailure::HungUp, "The connection is closed.");
            short events = POLLOUT;
            ssize_t length = 0;
            if (tls) {
                length = tls->write(bytes, events);
            } else {
                length = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
                if (length < 0 && (errno == EAGAIN || errno == EINTR)) length = TlsClient::kWait;
            }
            if (length > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(length));
                continue;
            }
            if (length != TlsClient::kWait)
                return streamFailed(StreamFailure::HungUp, "The server closed the connection.");
            if (auto waited = await(socket, events); !waited) return failed(waited);
        }
        return {};
    }
};

SecureStream::SecureStream() : held_(std::make_unique<Held>()) {}
SecureStream::~SecureStream() = default;

Result<void> SecureStream::connect(const std::string& host, int port, TimeInterval longest) {
    held_->arm(longest);
    held_->silence = longest;
    auto addresses = lookUpHost(host, port, [this](int descriptor) { return held_->await(descriptor, POLLIN); });
    if (!addresses) return failed(addresses);
    if (addresses->empty()) return streamFailed(StreamFailure::NotReachable, "The server " + host + " can't be found.");
    held_->arm(longest);
    held_->silence = longest / static_cast<double>(std::min<std::size_t>(addresses->size(), 3));
    for (const SocketAddress& address : *addresses) {
        auto made = held_->connectTo(address);
        if (!made) return failed(made);
        if (*made < 0) continue;
        held_->socket = *made;
        const int on = 1;
        ::setsockopt(*made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ::setsockopt(*made, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
        return {};
    }
    return streamFailed(StreamFailure::NotReachable, "The server " + host + " can't be reached.");
}

Result<void> SecureStream::startTls(const std::string& host, const std::string& authorities, TimeInterval longest) {
    held_->arm(longest);
    held_->silence = longest;
    auto client = TlsClient::make(held_->socket, host, authorities);
    if (!client) return streamFailed(StreamFailure::Tls, client.error().description);
    for (;;) {
        short events = POLLIN;
        switch ((*client)->shakeHands(events)) {
        case TlsClient::Handshake::Done: held_->tls = std::move(*client); return {};
        case TlsClient::Handshake::Wait: break;
        case TlsClient::Handshake::NotTrusted:
            return streamFailed(StreamFailure::NotTrusted, "The server " + host + " could not prove who it is (" +
                                                               (*client)->reason() + "), so nothing was sent to it.");
        case TlsClient::Handshake::Failed:
            return streamFailed(StreamFailure::Tls,
                                "No encrypted connection to " + host + " could be made (" + (*client)->reason() + ").");
        }
        if (auto waited = held_->await(held_->socket, events); !waited) return failed(waited);
    }
}

Result<void> SecureStream::startDeflate(std::string_view unread) {
    auto deflate = std::make_unique<Deflate>();
    if (!deflate->isReady) return streamFailed(StreamFailure::Malformed, "Compression could not be started.");
    deflate->input = unread;
    deflate->in.next_in = reinterpret_cast<Bytef*>(deflate->input.data());
    deflate->in.avail_in = static_cast<uInt>(deflate->input.size());
    held_->deflate = std::move(deflate);
    return {};
}

void SecureStream::setSilence(TimeInterval seconds) { held_->silence = seconds; }
void SecureStream::setDeadline(TimeInterval seconds) { held_->arm(seconds); }

Result<std::size_t> SecureStream::read(char* buffer, std::size_t size) { return held_->read(buffer, size, true); }
Result<std::size_t> SecureStream::readAvailable(char* buffer, std::size_t size) {
    return held_->read(buffer, size, false);
}

Result<void> SecureStream::write(std::string_view bytes) {
    if (auto going = held_->mayGoOn(); !going) return going;
    return held_->writeSocket(held_->deflate ? held_->deflate->squeezed(bytes) : bytes);
}

Result<SecureStream::Wait> SecureStream::waitForInput(TimeInterval seconds) {
    if (held_->socket < 0) return streamFailed(StreamFailure::HungUp, "The connection is closed.");
    if (held_->tls && held_->tls->hasPending()) return Wait::Readable;
    if (held_->deflate && held_->deflate->in.avail_in > 0) return Wait::Readable;
    return held_->waitFor(held_->socket, POLLIN, seconds, true);
}

void SecureStream::cancel() { ::eventfd_write(held_->stop, 1); }
void SecureStream::wake() { ::eventfd_write(held_->bell, 1); }
void SecureStream::close() { held_->disconnect(); }

}  // namespace qs
