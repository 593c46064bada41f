#include "PrivatePostgres.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "Store/SqlConnection.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

// The newest version's programs; empty when there is none.
fs::path programs() {
    std::vector<fs::path> found;
    std::error_code error;
    for (const auto& version : fs::directory_iterator("/usr/lib/postgresql", error))
        if (fs::exists(version.path() / "bin/initdb")) found.push_back(version.path() / "bin");
    return found.empty() ? fs::path() : *std::max_element(found.begin(), found.end());
}

// The server refuses to run as root; its own user is there with the package.
const passwd* serverUser() { return ::geteuid() == 0 ? ::getpwnam("postgres") : nullptr; }

pid_t run(const std::vector<std::string>& command, const std::string& folder) {
    const passwd* user = serverUser();
    std::vector<char*> arguments;
    for (const std::string& each : command)
        arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = ::fork();
    if (child != 0) return child;
    if (user && (::setgroups(0, nullptr) != 0 || ::setgid(user->pw_gid) != 0 || ::setuid(user->pw_uid) != 0))
        ::_exit(126);
    ::prctl(PR_SET_PDEATHSIG, SIGQUIT);
    if (::chdir(folder.c_str()) != 0) ::_exit(126);
    if (const int nowhere = ::open("/dev/null", O_RDWR); nowhere >= 0)
        for (const int stream : {0, 1, 2})
            ::dup2(nowhere, stream);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

}  // namespace

bool PrivatePostgres::isInstalled() { return !programs().empty(); }

PrivatePostgres::PrivatePostgres() {
    if (const passwd* user = serverUser())
        if (::chown(folder_.path().c_str(), user->pw_uid, user->pw_gid) != 0) throw std::runtime_error("no folder");
    const pid_t maker = run({programs() / "initdb", "-D", folder_ / "data", "-U", "test", "-A", "trust", "-E", "UTF8",
                             "--locale=C", "--no-sync"},
                            folder_.path());
    int status = 0;
    ::waitpid(maker, &status, 0);
    if (status != 0) throw std::runtime_error("initdb failed");
    start();
}

PrivatePostgres::~PrivatePostgres() { stop(); }

std::string PrivatePostgres::connection() const {
    return "host=" + folder_.path().string() + " user=test dbname=postgres";
}

void PrivatePostgres::start() {
    server_ =
        run({programs() / "postgres", "-D", folder_ / "data", "-k", folder_.path(), "-h", "", "-F"}, folder_.path());
    // Trying takes long enough to serve as the pause between two tries.
    for (int tries = 0; tries < 100'000; ++tries) {
        try {
            (void)SqlConnection::openPostgres(connection());
            return;
        } catch (const SqlFailure&) {
            continue;
        }
    }
    throw std::runtime_error("postgres did not start");
}

void PrivatePostgres::stop() {
    ::kill(server_, SIGINT);  // ends connections, too
    ::waitpid(server_, nullptr, 0);
}

void PrivatePostgres::restart() {
    stop();
    start();
}

}  // namespace qs
