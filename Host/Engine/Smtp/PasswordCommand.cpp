#include "Smtp/PasswordCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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

// Everything that the command prints, or nothing when it takes too long.
bool readAll(int descriptor, std::string& output) {
    const TimeInterval end = RunLoop::main().uptime() + kLimit;
    for (;;) {
        const TimeInterval left = end - RunLoop::main().uptime();
        pollfd waiting{descriptor, POLLIN, 0};
        if (left <= 0 || output.size() > kMostBytes) return false;
        const int ready = poll(&waiting, 1, static_cast<int>(left * 1000) + 1);
        if (ready < 0 && errno != EINTR) return false;
        if (ready <= 0) continue;
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
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t child = 0;
    const int failed = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (failed) {
        close(ends[0]);
        return commandFailed("can't be found: " + command[0] + ".");
    }
    std::string output;
    const bool complete = readAll(ends[0], output);
    close(ends[0]);
    if (!complete) kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!complete) return commandFailed("did not end within 30 seconds.");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return commandFailed("failed.");
    output.resize(std::min(output.find('\n'), output.size()));
    if (!output.empty() && output.back() == '\r') output.pop_back();
    DDLog::maskSecret(output);
    return output;
}

}  // namespace qs
