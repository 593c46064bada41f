#include "Support/PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace qs {

namespace {

// No service files: what is not started by the test must not answer.
std::string configuration(const std::filesystem::path& socket) {
    return "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:path=" +
           socket.string() +
           "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
}

std::string environment(const char* name) {
    const char* value = ::getenv(name);
    return value ? value : "";
}

void setOrUnset(const char* name, const std::string& value) {
    if (value.empty())
        ::unsetenv(name);
    else
        ::setenv(name, value.c_str(), 1);
}

}  // namespace

PrivateBus::PrivateBus() : formerAddress_(environment("DBUS_SESSION_BUS_ADDRESS")) {
    const std::string option = "--config-file=" + folder_.write("bus.conf", configuration(folder_ / "socket")).string();
    std::array<int, 2> output{};
    if (::pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    daemon_ = ::fork();
    if (daemon_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no daemon behind
        ::dup2(output[1], 1);
        // Its remarks on limits that it may not raise are none of the test's.
        if (const int nowhere = ::open("/dev/null", O_WRONLY); nowhere >= 0) ::dup2(nowhere, 2);
        ::execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--print-address=1", "--nofork", "--nopidfile",
                 "--nosyslog", nullptr);
        ::_exit(127);
    }
    ::close(output[1]);
    // The address is written when the daemon listens.
    char c = 0;
    while (::read(output[0], &c, 1) == 1 && c != '\n')
        address_ += c;
    ::close(output[0]);
    if (address_.empty()) {
        stop();
        throw std::runtime_error("dbus-daemon did not start");
    }
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    stop();
    setOrUnset("DBUS_SESSION_BUS_ADDRESS", formerAddress_);
}

void PrivateBus::stop() {
    if (daemon_ <= 0) return;
    ::kill(daemon_, SIGTERM);
    ::waitpid(daemon_, nullptr, 0);
    daemon_ = -1;
}

SilentBus::SilentBus() : formerAddress_(environment("DBUS_SESSION_BUS_ADDRESS")) {
    const std::string place = (folder_ / "socket").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    place.copy(address.sun_path, sizeof address.sun_path - 1);
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 100) != 0)
        throw std::runtime_error("no socket");
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + place).c_str(), 1);
}

SilentBus::~SilentBus() {
    for (const int caller : callers_)
        ::close(caller);
    ::close(listener_);
    setOrUnset("DBUS_SESSION_BUS_ADDRESS", formerAddress_);
}

SilentBus::Callers SilentBus::callers() {
    for (int caller = 0; (caller = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
        callers_.push_back(caller);
    Callers counted;
    for (const int caller : callers_) {
        pollfd state{.fd = caller, .events = 0, .revents = 0};
        ++(::poll(&state, 1, 0) > 0 && (state.revents & POLLHUP) ? counted.gone : counted.waiting);
    }
    return counted;
}

NoBus::NoBus()
    : formerAddress_(environment("DBUS_SESSION_BUS_ADDRESS")), formerRuntime_(environment("XDG_RUNTIME_DIR")) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (folder_ / "no-socket").string()).c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
}

NoBus::~NoBus() {
    setOrUnset("DBUS_SESSION_BUS_ADDRESS", formerAddress_);
    setOrUnset("XDG_RUNTIME_DIR", formerRuntime_);
}

}  // namespace qs
