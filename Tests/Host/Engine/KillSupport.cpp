#include "KillSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>

namespace qs {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

pid_t startPart(const std::string& test, const std::vector<std::string>& assignments,
                const std::filesystem::path& log) {
    std::vector<char*> environment;
    // Of two values for one name the first counts.
    for (const std::string& each : assignments)
        environment.push_back(const_cast<char*>(each.c_str()));
    for (char** each = environ; *each; ++each)
        environment.push_back(*each);
    environment.push_back(nullptr);
    const std::string filter = "--gtest_filter=" + test;
    const char* const arguments[] = {"/proc/self/exe", filter.c_str(), "--gtest_also_run_disabled_tests", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t child = 0;
    EXPECT_EQ(
        posix_spawn(&child, arguments[0], &actions, nullptr, const_cast<char* const*>(arguments), environment.data()),
        0);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

int runPart(const std::string& test, const std::vector<std::string>& assignments, const std::filesystem::path& log,
            const std::function<void(pid_t)>& started, const std::function<void()>& ended) {
    const pid_t child = startPart(test, assignments, log);
    if (started) started(child);
    // Not reaped yet, so that its number stays its own until nobody can kill it any more.
    siginfo_t facts{};
    waitid(P_PID, static_cast<id_t>(child), &facts, WEXITED | WNOWAIT);
    if (ended) ended();
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

bool wasKilled(int status) { return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL; }
bool endedWell(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }

}  // namespace qs
