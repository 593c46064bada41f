#include "Process/DetachedProcess.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "Foundation/Format.h"

namespace qs {

namespace {

tl::unexpected<Error> cannotStart(const std::filesystem::path& program, int code) {
    return failure("Process", code,
                   stringWithFormat("“%@” could not be started: %@.",
                                    {program.filename().string(), std::system_category().message(code)}));
}

// Between fork and exec only what a signal handler might do is allowed, as other threads may have held locks.
[[noreturn]] void runProgram(const char* program, char* const* arguments, int errorPipe) {
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int ignored : {SIGPIPE, SIGHUP, SIGINT})
        ::signal(ignored, SIG_DFL);
    if (const int empty = ::open("/dev/null", O_RDONLY); empty > 0) ::dup2(empty, 0);
    // The pipe is closed by exec, too: that tells the parent that all went well.
    ::syscall(SYS_close_range, 3u, ~0u, static_cast<unsigned>(CLOSE_RANGE_CLOEXEC));
    ::execve(program, arguments, environ);
    const int code = errno;
    [[maybe_unused]] const ssize_t written = ::write(errorPipe, &code, sizeof code);
    ::_exit(127);
}

}  // namespace

std::filesystem::path programNamed(std::string_view name) {
    if (name.empty() || name.find('/') != std::string_view::npos) return {};
    const char* path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
    std::string_view rest = path ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
        // A folder relative to wherever we happen to be could hold anything.
        if (!folder.starts_with('/')) continue;
        std::filesystem::path program = std::filesystem::path(folder) / name;
        std::error_code ignored;
        if (std::filesystem::is_regular_file(program, ignored) && ::access(program.c_str(), X_OK) == 0) return program;
    }
    return {};
}

Result<void> startDetached(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> texts{program.string()};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> vector;
    for (std::string& text : texts)
        vector.push_back(text.data());
    vector.push_back(nullptr);

    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return cannotStart(program, errno);
    const pid_t child = ::fork();
    if (child == 0) {
        // The grandchild belongs to nobody here, so that nobody need wait for it.
        ::setsid();
        const pid_t grandchild = ::fork();
        if (grandchild == 0) runProgram(program.c_str(), vector.data(), pipe[1]);
        const int code = errno;
        if (grandchild < 0) {
            [[maybe_unused]] const ssize_t written = ::write(pipe[1], &code, sizeof code);
        }
        ::_exit(0);
    }
    int code = child < 0 ? errno : 0;
    ::close(pipe[1]);
    if (child > 0) {
        while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
        while (::read(pipe[0], &code, sizeof code) < 0 && errno == EINTR) {
        }
    }
    ::close(pipe[0]);
    if (code != 0) return cannotStart(program, code);
    return {};
}

}  // namespace qs
