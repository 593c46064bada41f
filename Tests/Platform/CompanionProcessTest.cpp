// Programs that run beside this one and end with it.
#include "Process/CompanionProcess.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace qs {
namespace {

std::unique_ptr<CompanionProcess> shell(const std::string& script, std::string_view input = {}) {
    auto started = CompanionProcess::start("/bin/sh", {"-c", script, "sh", "a b", "*"}, input);
    EXPECT_TRUE(started);
    return started ? std::move(*started) : nullptr;
}

bool isRunning(int process) { return ::kill(process, 0) == 0; }

TEST(CompanionProcess, SaysItsLines) {
    const auto companion = shell("read line; echo \"$line, $1 $2\"; echo second; cat >/dev/null", "hello\n");
    EXPECT_EQ(companion->readLine(10), "hello, a b *");
    EXPECT_EQ(companion->readLine(10), "second");
    EXPECT_EQ(companion->readLine(0.01).error().code, ETIMEDOUT);
    EXPECT_EQ(shell("true")->readLine(10).error().code, EPIPE);
    EXPECT_FALSE(CompanionProcess::start("/nowhere/program", {}));
}

TEST(CompanionProcess, StopsWhenItIsNotWantedAnyMore) {
    // Another program that was started meanwhile must not keep its input open.
    auto companion = shell("echo here; cat >/dev/null");
    const auto other = shell("cat >/dev/null");
    const int process = companion->processIdentifier();
    EXPECT_EQ(companion->readLine(10), "here");
    EXPECT_TRUE(isRunning(process));
    companion.reset();
    EXPECT_FALSE(isRunning(process));
    EXPECT_TRUE(isRunning(other->processIdentifier()));
}

TEST(CompanionProcess, EndsWithAProcessThatWasKilled) {
    // Whoever is started below holds the other end of this, and says so by ending.
    std::array<int, 2> held{};
    ASSERT_EQ(::pipe(held.data()), 0);
    const pid_t killed = ::fork();
    if (killed == 0) {
        auto companion = CompanionProcess::start("/bin/sh", {"-c", "echo here; cat >/dev/null"});
        const bool isHeard = companion && (*companion)->readLine(10) == "here";
        if (isHeard) ::kill(::getpid(), SIGKILL);
        ::_exit(1);
    }
    ::close(held[1]);
    int status = 0;
    ASSERT_EQ(::waitpid(killed, &status, 0), killed);
    EXPECT_TRUE(WIFSIGNALED(status)) << "it was to be killed while the other ran";
    pollfd ended{held[0], POLLIN, 0};
    EXPECT_EQ(::poll(&ended, 1, 10'000), 1);
    EXPECT_NE(ended.revents & POLLHUP, 0);
    ::close(held[0]);
}

}  // namespace
}  // namespace qs
