#include "Smtp/PasswordCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"

namespace qs {

namespace {

constexpr TimeInterval kLimit = 30;
constexpr std::size_t kMostBytes = 64 * 1024;

tl::unexpected<Error> commandFailed(const std::string& what) {
    return failure("PasswordCommand", 1, "The command for this account's password " + what);
}

bool isReadyBefore(int descriptor, TimeInterval end) {
    for (;;) {
        const TimeInterval left = end - RunLoop::main().uptime();
        pollfd waiting{descriptor, POLLIN, 0};
        if (left <= 0) return false;
        const int ready = poll(&waiting, 1, static_cast<int>(left * 1000) + 1);
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

bool endsBefore(pid_t child, TimeInterval end) {
    const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    if (descriptor < 0) return true;  // an old kernel: waited for without a limit
    const bool ended = isReadyBefore(descriptor, end);
    close(descriptor);
    return ended;
}

// Everything that the command prints; false when it takes too long or prints too much.
bool readAll(int descriptor, std::string& output, TimeInterval end) {
    for (;;) {
        if (output.size() > kMostBytes || !isReadyBefore(descriptor, end)) return false;
        char buffer[4096];
        const ssize_t length = read(descriptor, buffer, sizeof buffer);
        if (length == 0) return true;
        if (length < 0 && errno != EINTR) return false;
        if (length > 0) output.append(buffer, static_cast<std::size_t>(length));
    }
}

}  // namespace

Result<std::string> runPasswordCommand(const std::vector<std::string>& command) {
    if (command.empty()) return std::string();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return commandFailed("could not be started.");
    std::vector<char*> arguments;
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    // A group of its own, so that what the command itself started can be ended with it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = 0;
    const int failed = posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (failed) {
        close(ends[0]);
        return commandFailed("can't be found: " + command[0] + ".");
    }
    std::string output;
    const TimeInterval end = RunLoop::main().uptime() + kLimit;
    // Closing its output is not ending.
    const bool complete = readAll(ends[0], output, end) && endsBefore(child, end);
    close(ends[0]);
    if (!complete) kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!complete) return commandFailed("did not end within 30 seconds, or printed too much.");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return commandFailed("failed.");
    output.resize(std::min(output.find('\n'), output.size()));
    if (!output.empty() && output.back() == '\r') output.pop_back();
    DDLog::maskSecret(output);
    return output;
}

}  // namespace qs
