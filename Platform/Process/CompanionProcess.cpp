#include "Process/CompanionProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr TimeInterval kLongestStop = 8;
constexpr std::size_t kLongestLine = 64 * 1024;

bool isReadyWithin(TimeInterval seconds, int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    int ready = 0;
    do
        ready = ::poll(&waiting, 1, static_cast<int>(seconds * 1000));
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

class SpawnedCompanion : public CompanionProcess {
public:
    ~SpawnedCompanion() override {
        closeBoth(input_, -1);
        if (process_ > 0) waitForEnd();
        closeBoth(-1, output_);
    }

    // The error number, or 0.
    int spawn(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
        std::array<int, 2> input{-1, -1}, output{-1, -1};
        // A socket, unlike a pipe, tells that nobody reads without a signal.
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input.data()) != 0) return errno;
        input_ = input[0];
        if (::pipe2(output.data(), O_CLOEXEC) != 0) {
            const int code = errno;
            ::close(input[1]);
            return code;
        }
        output_ = output[0];
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input[1], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawnattr_t attributes;
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        std::vector<std::string> texts{program.string()};
        texts.insert(texts.end(), arguments.begin(), arguments.end());
        std::vector<char*> words;
        for (std::string& text : texts)
            words.push_back(text.data());
        words.push_back(nullptr);
        const int code = ::posix_spawn(&process_, words[0], &actions, &attributes, words.data(), environ);
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&actions);
        closeBoth(input[1], output[1]);
        if (code != 0) process_ = 0;
        return code;
    }

    bool tell(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t sent = ::send(input_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent < 0 && errno != EINTR) return false;
            if (sent > 0) text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    Result<std::string> readLine(TimeInterval longest) override {
        for (;;) {
            if (const auto at = said_.find('\n'); at != std::string::npos) {
                std::string line = said_.substr(0, at);
                said_.erase(0, at + 1);
                return line;
            }
            if (said_.size() > kLongestLine || !isReadyWithin(longest, output_))
                return failure("CompanionProcess", ETIMEDOUT, "The program did not say anything in time.");
            std::array<char, 1024> part;
            const ssize_t length = ::read(output_, part.data(), part.size());
            if (length == 0) return failure("CompanionProcess", EPIPE, "The program has ended.");
            if (length < 0 && errno != EINTR) return failure("CompanionProcess", errno, "The program can't be heard.");
            if (length > 0) said_.append(part.data(), static_cast<std::size_t>(length));
        }
    }

    int processIdentifier() const override { return process_; }

private:
    static void closeBoth(int first, int second) {
        for (const int descriptor : {first, second})
            if (descriptor >= 0) ::close(descriptor);
    }

    void waitForEnd() const {
        const int watched = static_cast<int>(::syscall(SYS_pidfd_open, process_, 0));
        if (watched >= 0 && !isReadyWithin(kLongestStop, watched)) {
            logWarning("A program that was to stop did not, and was ended.");
            ::kill(process_, SIGKILL);
        }
        closeBoth(watched, -1);
        while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    pid_t process_ = 0;
    int input_ = -1, output_ = -1;
    std::string said_;  // and not yet read
};

}  // namespace

Result<std::unique_ptr<CompanionProcess>> CompanionProcess::start(const std::filesystem::path& program,
                                                                  const std::vector<std::string>& arguments,
                                                                  std::string_view input) {
    auto companion = std::make_unique<SpawnedCompanion>();
    const int code = companion->spawn(program, arguments);
    if (code != 0 || !companion->tell(input))
        return failure("CompanionProcess", code,
                       stringWithFormat("“%@” could not be started: %@.",
                                        {program.filename().string(),
                                         code != 0 ? std::system_category().message(code) : "it ended at once"}));
    return companion;
}

}  // namespace qs
