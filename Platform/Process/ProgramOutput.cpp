#include "Process/ProgramOutput.h"

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

#include "Foundation/RunLoop.h"

namespace qs {

namespace {

tl::unexpected<Error> programFailed(ProgramError code, std::string description) {
    return failure(std::string(kProgramErrorDomain), static_cast<int>(code), std::move(description));
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void reset(int number = -1) {
        if (number_ >= 0) ::close(number_);
        number_ = number;
    }
    int operator*() const { return number_; }
    bool isOpen() const { return number_ >= 0; }

private:
    int number_ = -1;
};

// Our ends of the program's input and output.
struct Ends {
    Descriptor input, output;
};

// The program's process id, or 0. It leads a group of its own, so that what it starts can be ended with it.
pid_t start(const std::vector<std::string>& command, const ProgramOptions& options, Ends& ours) {
    std::array<int, 2> output{-1, -1}, input{-1, -1};
    if (::pipe2(output.data(), O_CLOEXEC) != 0) return 0;
    ours.output.reset(output[0]);
    const Descriptor itsOutput(output[1]);
    // A socket, unlike a pipe, can tell us that nobody reads without a signal.
    if (!options.input.empty() && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input.data()) != 0) return 0;
    ours.input.reset(input[0]);
    const Descriptor itsInput(input[1]);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (itsInput.isOpen())
        ::posix_spawn_file_actions_adddup2(&actions, *itsInput, STDIN_FILENO);
    else
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, *itsOutput, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

    std::vector<std::string> texts = command;
    std::vector<char*> arguments;
    for (std::string& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    char* nothing = nullptr;
    pid_t child = 0;
    const int code = ::posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(),
                                    options.inheritsEnvironment ? environ : &nothing);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return code == 0 ? child : 0;
}

// Which of the descriptors are ready before the time is up; none when it is up.
struct Ready {
    bool toRead = false, toWrite = false;
};
Ready waitFor(int readable, int writable, TimeInterval end) {
    for (;;) {
        const TimeInterval left = end - RunLoop::main().uptime();
        if (left <= 0) return {};
        std::array<pollfd, 2> waiting{pollfd{readable, POLLIN, 0}, pollfd{writable, POLLOUT, 0}};
        const int ready = ::poll(waiting.data(), waiting.size(), static_cast<int>(left * 1000) + 1);
        if (ready > 0) return {waiting[0].revents != 0, waiting[1].revents != 0};
        if (ready == 0 || errno != EINTR) return {};
    }
}

// True when the input is told and the output has come to its end, within the bounds.
bool exchange(Ends& ends, const ProgramOptions& options, TimeInterval end, std::string& output) {
    std::string_view input = options.input;
    for (;;) {
        const Ready ready = waitFor(*ends.output, *ends.input, end);
        if (ready.toWrite) {
            const ssize_t sent = ::send(*ends.input, input.data(), input.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent > 0) input.remove_prefix(static_cast<std::size_t>(sent));
            const bool isOver = sent < 0 && errno != EAGAIN && errno != EINTR;
            if (input.empty() || isOver) ends.input.reset();
        } else if (ready.toRead) {
            std::array<char, 16 * 1024> buffer;
            const ssize_t length = ::read(*ends.output, buffer.data(), buffer.size());
            if (length == 0) return true;
            if (length < 0 && errno != EINTR) return false;
            if (length > 0) output.append(buffer.data(), static_cast<std::size_t>(length));
            if (output.size() > options.mostOutput) return false;
        } else {
            return false;
        }
    }
}

bool endsBefore(pid_t child, TimeInterval end) {
    const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!process.isOpen()) return true;  // an old kernel: waited for without a limit
    return waitFor(*process, -1, end).toRead;
}

}  // namespace

Result<std::string> outputOfProgram(const std::vector<std::string>& command, const ProgramOptions& options) {
    Ends ends;
    const pid_t child = command.empty() ? 0 : start(command, options, ends);
    if (child == 0) return programFailed(ProgramError::NotStarted, "The program can't be started.");
    const TimeInterval end = RunLoop::main().uptime() + options.longest;
    std::string output;
    const bool complete = exchange(ends, options, end, output) && endsBefore(child, end);
    if (!complete) ::kill(-child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!complete) return programFailed(ProgramError::OutOfBounds, "The program took too long or printed too much.");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return programFailed(ProgramError::Failed, "The program failed.");
    return output;
}

}  // namespace qs
