#include "Support/ServerProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace qs {

// What the server writes, kept by a thread until the last of its processes is gone.
struct ServerProcess::Log {
    explicit Log(int pipe) : descriptor(pipe), reader([this] { read(); }) {}
    ~Log() {
        waitForEnd();
        ::close(descriptor);
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void read() {
        std::array<char, 4096> piece;
        for (;;) {
            const auto length = ::read(descriptor, piece.data(), piece.size());
            const std::lock_guard guard(lock);
            if (length > 0)
                text.append(piece.data(), static_cast<std::size_t>(length));
            else
                isOver = true;
            changed.notify_all();
            if (isOver) return;
        }
    }
    bool waitFor(std::string_view words) {
        std::unique_lock guard(lock);
        const auto isThere = [&] { return text.find(words) != std::string::npos; };
        changed.wait(guard, [&] { return isOver || isThere(); });
        return isThere();
    }
    void waitForEnd() {
        if (reader.joinable()) reader.join();
    }

    const int descriptor;
    std::mutex lock;
    std::condition_variable changed;
    std::string text;
    bool isOver = false;
    std::thread reader;
};

bool ServerProcess::start(const Command& command) {
    std::vector<char*> arguments;
    for (const std::string& each : command.arguments)
        arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    std::array<int, 2> output{};
    if (::pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ == 0) {
        if (::geteuid() == 0 && command.user != 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(command.group) != 0 || ::setuid(command.user) != 0))
            ::_exit(126);
        ::setsid();                          // a process group of its own, and servers insist on leading it
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that crashes leaves no server behind
        for (const int stream : {1, 2})
            ::dup2(output[1], stream);
        if (const int nowhere = ::open("/dev/null", O_RDWR); nowhere >= 0) ::dup2(nowhere, 0);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(output[1]);
    log_ = std::make_shared<Log>(output[0]);
    if (process_ > 0 && log_->waitFor(command.startedWords)) return true;
    stop();
    return false;
}

void ServerProcess::stop() {
    if (process_ <= 0) return;
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    // Those of its processes that still serve somebody; a log that has ended tells that all are gone.
    ::kill(-process_, SIGKILL);
    if (log_) log_->waitForEnd();
    process_ = -1;
}

std::string ServerProcess::log() const {
    if (!log_) return {};
    const std::lock_guard guard(log_->lock);
    return log_->text;
}

bool ServerProcess::waitForLog(std::string_view words) const { return log_ && log_->waitFor(words); }

std::string filled(std::string_view pattern, const std::map<std::string, std::string>& values) {
    std::string text(pattern);
    for (const auto& [name, value] : values)
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
            text.replace(at, name.size(), value);
    return text;
}

}  // namespace qs
