#include "CrashReporter/CrashHandler.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <typeinfo>

namespace qs {

namespace {

constexpr int kMostFrames = 128;
constexpr std::size_t kLongestHeader = 8192;
constexpr std::size_t kLongestException = 256;

struct FatalSignal {
    int number;
    const char* name;
};
constexpr FatalSignal kSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}};

struct Header {
    std::array<char, kLongestHeader> text{};
    std::size_t length = 0;
};

// All of it static: a handler can neither allocate nor lock.
Header headers[2];
std::atomic<const Header*> currentHeader = &headers[0];
char reportFile[4096];
char exceptionType[kLongestException];
std::atomic<bool> isHandling = false;
alignas(16) char alternateStack[128 * 1024];

void writeText(int file, const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(file, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}
void writeText(int file, const char* text) { writeText(file, text, std::strlen(text)); }

void writeHex(int file, std::uintptr_t number) {
    char digits[2 + 2 * sizeof number];
    std::size_t at = sizeof digits;
    do {
        digits[--at] = "0123456789abcdef"[number & 15];
        number >>= 4;
    } while (number != 0);
    digits[--at] = 'x';
    digits[--at] = '0';
    writeText(file, digits + at, sizeof digits - at);
}

// Where each library lies, so that addresses can be turned into lines later.
void copyMaps(int file) {
    const int maps = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (maps < 0) return;
    char buffer[4096];
    for (;;) {
        const ssize_t length = ::read(maps, buffer, sizeof buffer);
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) break;
        writeText(file, buffer, static_cast<std::size_t>(length));
    }
    ::close(maps);
}

const char* nameOf(int signalNumber) {
    for (const FatalSignal& each : kSignals)
        if (each.number == signalNumber) return each.name;
    return "a signal";
}

void writeReport(int signalNumber, const siginfo_t* facts) {
    const int file = ::open(reportFile, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) return;
    const Header* header = currentHeader.load();
    writeText(file, header->text.data(), header->length);
    writeText(file, "Signal: ");
    writeText(file, nameOf(signalNumber));
    if (signalNumber != SIGABRT) {
        writeText(file, " at ");
        writeHex(file, reinterpret_cast<std::uintptr_t>(facts->si_addr));
    }
    if (exceptionType[0] != '\0') {
        writeText(file, "\nUncaught exception: ");
        writeText(file, exceptionType);
    }
    writeText(file, "\n\nStack:\n");
    void* frames[kMostFrames];
    ::backtrace_symbols_fd(frames, ::backtrace(frames, kMostFrames), file);
    writeText(file, "\nMemory map:\n");
    copyMaps(file);
    ::close(file);
}

void handleFatalSignal(int signalNumber, siginfo_t* facts, void*) {
    // One report is enough: of the thread that failed first. The others wait for the end that is near.
    if (isHandling.exchange(true)) {
        for (;;)
            ::pause();
    }
    for (const FatalSignal& each : kSignals)  // a fault in here ends the process
        ::signal(each.number, SIG_DFL);
    writeReport(signalNumber, facts);
    ::raise(signalNumber);  // delivered with its default action when this returns
}

[[noreturn]] void handleTermination() {
    if (const std::type_info* type = abi::__cxa_current_exception_type()) {
        int status = 0;
        char* readable = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
        // Only the type: what an exception says may quote mail.
        std::strncpy(exceptionType, readable ? readable : type->name(), kLongestException - 1);
        std::free(readable);
    }
    std::abort();
}

}  // namespace

void setCrashReportHeader(std::string_view header) {
    static std::mutex lock;
    const std::lock_guard hold(lock);
    Header& spare = currentHeader.load() == &headers[0] ? headers[1] : headers[0];
    spare.length = std::min(header.size(), kLongestHeader);
    std::memcpy(spare.text.data(), header.data(), spare.length);
    currentHeader = &spare;
}

void installCrashHandlers(std::string file) {
    if (file.size() >= sizeof reportFile) return;
    std::memcpy(reportFile, file.c_str(), file.size() + 1);
    // The first backtrace loads a library, which must not happen in a handler.
    void* frames[2];
    ::backtrace(frames, 2);

    stack_t stack{};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof alternateStack;
    ::sigaltstack(&stack, nullptr);
    struct sigaction action {};
    action.sa_sigaction = handleFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigemptyset(&action.sa_mask);
    for (const FatalSignal& each : kSignals)
        ::sigaction(each.number, &action, nullptr);
    std::set_terminate(handleTermination);
}

}  // namespace qs
