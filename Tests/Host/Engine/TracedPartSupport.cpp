#include "TracedPart.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "KillSupport.h"

namespace qs {

namespace {

constexpr std::uint64_t kCalls[] = {
    SYS_write,     SYS_writev, SYS_pwrite64, SYS_pwritev,   SYS_sendto,    SYS_sendmsg,   SYS_connect,
    SYS_shutdown,  SYS_close,  SYS_fsync,    SYS_fdatasync, SYS_ftruncate, SYS_fallocate, SYS_renameat,
    SYS_renameat2, SYS_linkat, SYS_unlinkat, SYS_mkdirat,   SYS_fchmod,    SYS_utimensat,
#ifdef SYS_rename  // newer kinds of machines have only those that take a folder
    SYS_rename,    SYS_link,   SYS_unlink,   SYS_mkdir,     SYS_rmdir,
#endif
};

// Of what the thread is about to do; a change of the log is nobody's business.
bool isSeen(const __ptrace_syscall_info& info) {
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
    if (info.entry.nr == SYS_openat) return (info.entry.args[2] & (O_CREAT | O_TRUNC)) != 0;
    const bool isOutput = info.entry.nr == SYS_write && info.entry.args[0] <= STDERR_FILENO;
    return !isOutput && std::ranges::find(kCalls, info.entry.nr) != std::end(kCalls);
}

void* number(long value) { return reinterpret_cast<void*>(value); }

// All threads of the process, which stands still.
void seize(pid_t process) {
    const std::filesystem::path tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        const pid_t thread = std::stoi(task.path().filename());
        if (ptrace(PTRACE_SEIZE, thread, nullptr,
                   number(PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL)) != 0)
            throw std::runtime_error("a process can't be watched here");
    }
    kill(process, SIGCONT);
}

TracedEnd watch(pid_t process, int dieAt) {
    TracedEnd end;
    for (;;) {
        int status = 0;
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) throw std::runtime_error("the watched process got lost");
        if (!WIFSTOPPED(status)) {
            if (thread != process) continue;
            end.status = status;
            return end;
        }
        const int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            __ptrace_syscall_info info{};
            ptrace(PTRACE_GET_SYSCALL_INFO, thread, number(sizeof info), &info);
            if (isSeen(info) && ++end.calls == dieAt) kill(process, SIGKILL);
            ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr);
            continue;
        }
        // A stop for the watcher's own sake has a number above the signal's; anything else is meant for the thread.
        const bool isOurs = status >> 16 != 0;
        ptrace(PTRACE_SYSCALL, thread, nullptr, number(isOurs ? 0 : signal));
    }
}

}  // namespace

TracedEnd runPartToCall(const std::string& test, const std::vector<std::string>& assignments,
                        const std::filesystem::path& log, int dieAt) {
    std::vector<std::string> environment = assignments;
    // A build that looks for leaks would watch itself when it ends, and nobody can be watched by two.
    environment.push_back("ASAN_OPTIONS=" + variable("ASAN_OPTIONS") + ":detect_leaks=0");
    const pid_t process = startPart(test, environment, log);
    int status = 0;
    waitpid(process, &status, WUNTRACED);
    if (!WIFSTOPPED(status)) return {status, 0};
    seize(process);
    return watch(process, dieAt);
}

}  // namespace qs
