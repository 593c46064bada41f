#include "Support/PrivateKeyring.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace qs {

PrivateKeyring::PrivateKeyring() { start(true); }

PrivateKeyring::~PrivateKeyring() { stop(); }

void PrivateKeyring::start(bool isUnlocked) {
    std::array<int, 2> input{};
    if (::pipe2(input.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const std::string data = (folder_ / "data").string(), runtime = (folder_ / "run").string();
    std::filesystem::create_directories(data);
    std::filesystem::create_directories(runtime);
    daemon_ = ::fork();
    if (daemon_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setenv("XDG_DATA_HOME", data.c_str(), 1);
        ::setenv("HOME", data.c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        ::dup2(input[0], 0);
        if (const int nowhere = ::open("/dev/null", O_WRONLY); nowhere >= 0) {
            ::dup2(nowhere, 1);
            ::dup2(nowhere, 2);
        }
        ::execlp("gnome-keyring-daemon", "gnome-keyring-daemon", "--foreground", "--components=secrets",
                 isUnlocked ? "--unlock" : nullptr, nullptr);
        ::_exit(127);
    }
    ::close(input[0]);
    if (isUnlocked && ::write(input[1], "open sesame", 11) != 11) throw std::runtime_error("no keyring");
    ::close(input[1]);
    // Asking takes long enough to serve as the pause between two questions.
    for (int asked = 0; asked < 1000; ++asked)
        if (std::system("dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / "
                        "org.freedesktop.DBus.GetNameOwner string:org.freedesktop.secrets >/dev/null 2>&1") == 0)
            return;
    throw std::runtime_error("gnome-keyring-daemon did not start");
}

void PrivateKeyring::stop() {
    if (daemon_ <= 0) return;
    ::kill(daemon_, SIGTERM);
    ::waitpid(daemon_, nullptr, 0);
    daemon_ = -1;
}

void PrivateKeyring::restart(bool isUnlocked) {
    stop();
    start(isUnlocked);
}

void PrivateKeyring::loseEverything() {
    stop();
    std::filesystem::remove_all(folder_ / "data");
}

}  // namespace qs
