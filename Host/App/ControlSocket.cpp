#include "ControlSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <thread>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Foundation/RunLoopAsio.h"

namespace qs {
namespace {

namespace asio = boost::asio;
using asio::local::stream_protocol;
using boost::system::error_code;
using namespace std::chrono_literals;

constexpr const char* kFileName = "control.sock";
constexpr std::size_t kLongestLine = 16 * 1024;
constexpr int kMostConnections = 16;
constexpr auto kLineTimeout = 10s;

// A socket's path may have only some hundred bytes, a folder's any number: the folder is opened and the socket reached
// through it.
class OpenFolder {
public:
    explicit OpenFolder(const std::filesystem::path& folder)
        : file_(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}
    ~OpenFolder() {
        if (file_ >= 0) ::close(file_);
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    std::string socketPath() const { return "/proc/self/fd/" + std::to_string(file_) + "/" + kFileName; }

private:
    int file_;
};

tl::unexpected<Error> cannot(const std::string& what, const std::string& why) {
    return failure("ControlSocket", 1, what + ": " + why + ".");
}

bool isOurOwn(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

using Handler = std::function<std::string(const std::string& command)>;

class AsioControlSocket : public ControlSocket {
public:
    AsioControlSocket(stream_protocol::acceptor acceptor, std::filesystem::path file)
        : acceptor_(std::move(acceptor)), file_(std::move(file)) {}

    ~AsioControlSocket() override {
        *alive_ = false;
        error_code ignored;
        acceptor_.close(ignored);
        ::unlink(file_.c_str());
    }

    void serve(Handler handler) override {
        handler_ = std::make_shared<Handler>(std::move(handler));
        asio::co_spawn(ioContextOf(RunLoop::main()), accept(), asio::detached);
    }

private:
    asio::awaitable<void> accept() {
        const auto alive = alive_;
        while (*alive) {
            error_code error;
            auto socket = co_await acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, error));
            if (!*alive || error == asio::error::operation_aborted) co_return;
            if (error) {
                logWarning("The control socket can't accept a connection: " + error.message());
                asio::steady_timer pause(ioContextOf(RunLoop::main()), 1s);
                co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
                continue;
            }
            if (!isOurOwn(socket.native_handle()) || *connections_ >= kMostConnections) continue;
            asio::co_spawn(ioContextOf(RunLoop::main()), answer(std::move(socket), handler_, connections_),
                           asio::detached);
        }
    }

    static asio::awaitable<void> answer(stream_protocol::socket accepted, std::shared_ptr<Handler> handler,
                                        std::shared_ptr<int> connections) {
        const auto counted = std::shared_ptr<void>(nullptr, [connections](void*) { --*connections; });
        ++*connections;
        const auto socket = std::make_shared<stream_protocol::socket>(std::move(accepted));
        asio::steady_timer deadline(ioContextOf(RunLoop::main()), kLineTimeout);
        deadline.async_wait([socket](error_code error) {
            if (!error) socket->close(error);
        });
        error_code error;
        std::string line;
        const std::size_t length = co_await asio::async_read_until(
            *socket, asio::dynamic_buffer(line, kLongestLine), '\n', asio::redirect_error(asio::use_awaitable, error));
        deadline.cancel();
        if (error) co_return;
        line.resize(length - 1);
        // In a turn of its own: what is asked for may show an alert and wait for the person.
        RunLoop::main().post([socket, handler, counted, line] {
            const auto reply = std::make_shared<std::string>((*handler)(line) + "\n");
            asio::async_write(*socket, asio::buffer(*reply), [socket, reply](error_code, std::size_t) {});
        });
    }

    stream_protocol::acceptor acceptor_;
    std::filesystem::path file_;
    std::shared_ptr<Handler> handler_;
    std::shared_ptr<int> connections_ = std::make_shared<int>(0);
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// Whoever asks has nothing else to do, so this side is plain blocking code.
class Client {
public:
    ~Client() {
        if (socket_ >= 0) ::close(socket_);
    }

    // A program that has its lock but not its socket yet is met by waiting a little.
    bool connect(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        for (int attempt = 0; attempt < 50; ++attempt) {
            if (attempt > 0) std::this_thread::sleep_for(100ms);
            if (socket_ >= 0) ::close(socket_);
            socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (socket_ < 0) return false;
            const void* plain = &address;
            if (::connect(socket_, static_cast<const sockaddr*>(plain), sizeof address) == 0) return true;
            if (errno != ENOENT && errno != ECONNREFUSED) return false;
        }
        return false;
    }

    Result<std::string> ask(std::string_view command) {
        const auto silent = [] { return cannot("The running program did not answer", "it may be busy"); };
        if (!isOurOwn(socket_)) return cannot("The running program can't be asked", "it belongs to another user");
        const timeval patience{.tv_sec = 30, .tv_usec = 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        const std::string line = std::string(command) + "\n";
        if (::send(socket_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
            return silent();
        std::string reply;
        while (!reply.ends_with('\n') && reply.size() < kLongestLine) {
            char part[512];
            const ssize_t size = ::recv(socket_, part, sizeof part, 0);
            if (size < 0 && errno == EINTR) continue;
            if (size <= 0) return silent();
            reply.append(part, static_cast<std::size_t>(size));
        }
        reply.pop_back();
        return reply;
    }

private:
    int socket_ = -1;
};

}  // namespace

Result<std::unique_ptr<ControlSocket>> ControlSocket::listen(const std::filesystem::path& dataFolder) {
    const OpenFolder folder(dataFolder);
    const auto file = dataFolder / kFileName;
    ::unlink(file.c_str());
    stream_protocol::acceptor acceptor(ioContextOf(RunLoop::main()));
    error_code error;
    acceptor.open(stream_protocol(), error);
    if (!error) acceptor.bind(folder.socketPath(), error);
    // The folder is closed to others already; this holds for one that was given and is not.
    if (!error && ::chmod(file.c_str(), S_IRUSR | S_IWUSR) != 0) error.assign(errno, boost::system::system_category());
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) return cannot("The control socket " + file.string() + " can't be made", error.message());
    return std::unique_ptr<ControlSocket>(std::make_unique<AsioControlSocket>(std::move(acceptor), file));
}

Result<std::string> askRunningHost(const std::filesystem::path& dataFolder, std::string_view command) {
    const OpenFolder folder(dataFolder);
    Client client;
    if (command.find('\n') != std::string_view::npos || command.size() >= kLongestLine)
        return cannot("The running program can't be asked", "the request is no single short line");
    if (!client.connect(folder.socketPath()))
        return cannot("The running program can't be reached", "nobody answers at its control socket");
    auto reply = client.ask(command);
    constexpr std::string_view kError = "error ";
    if (reply && reply->starts_with(kError)) return failure("ControlSocket", 2, reply->substr(kError.size()));
    return reply;
}

}  // namespace qs
