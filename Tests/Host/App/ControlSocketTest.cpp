#include "ControlSocket.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>

#include "Foundation/RunLoop.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ControlSocketTest : public ::testing::Test {
protected:
    // What another process would get as an answer, with the run loop going meanwhile.
    Result<std::string> ask(std::string_view command) {
        std::optional<Result<std::string>> answer;
        std::atomic<bool> done = false;
        std::thread other([&] {
            answer = askRunningHost(folder_.path(), command);
            done = true;
            loop_->post([] {});
        });
        loop_->runUntil([&] { return done.load(); });
        other.join();
        return *answer;
    }
    void serve() {
        auto made = ControlSocket::listen(folder_.path());
        ASSERT_TRUE(made) << made.error().description;
        socket_ = std::move(*made);
        socket_->serve([this](const std::string& command) {
            commands_.push_back(command);
            return command == "bad" ? "error That went wrong." : "link of " + command;
        });
    }

    TemporaryFolder folder_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    const TimerRef limit_ = loop_->after(60, [this] { loop_->stop(); });  // for a test that fails
    std::unique_ptr<ControlSocket> socket_;
    std::vector<std::string> commands_;
};

TEST_F(ControlSocketTest, AnswersLineByLine) {
    serve();
    EXPECT_EQ(*ask("link"), "link of link");
    EXPECT_EQ(*ask("open mailto:ada@example.org"), "link of open mailto:ada@example.org");
    EXPECT_THAT(commands_, ElementsAre("link", "open mailto:ada@example.org"));
    const auto bad = ask("bad");
    ASSERT_FALSE(bad);
    EXPECT_EQ(bad.error().description, "That went wrong.");
}

TEST_F(ControlSocketTest, WhoIsTooEarlyWaitsUntilTheProgramStands) {
    auto made = ControlSocket::listen(folder_.path());
    ASSERT_TRUE(made);
    loop_->post([&] { (*made)->serve([](const std::string&) { return std::string("late"); }); });
    EXPECT_EQ(*ask("link"), "late");
}

TEST_F(ControlSocketTest, TakesThePlaceOfOneThatAKilledProgramLeft) {
    folder_.write("control.sock", "");
    serve();
    EXPECT_EQ(*ask("link"), "link of link");
    struct stat info {};
    ASSERT_EQ(::stat((folder_ / "control.sock").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777u, 0600u);
    socket_.reset();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "control.sock"));
}

TEST_F(ControlSocketTest, WorksInAFolderWhosePathIsLongerThanASocketsMayBe) {
    const auto deep = folder_ / std::string(90, 'a') / std::string(90, 'b');
    std::filesystem::create_directories(deep);
    auto made = ControlSocket::listen(deep);
    ASSERT_TRUE(made) << made.error().description;
    EXPECT_TRUE(std::filesystem::is_socket(deep / "control.sock"));
}

TEST_F(ControlSocketTest, PeersThatSayNothingOrTooMuchHarmNobody) {
    serve();
    std::vector<int> silent;
    const auto connect = [&] {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (folder_ / "control.sock").string().copy(address.sun_path, sizeof address.sun_path - 1);
        const int peer = ::socket(AF_UNIX, SOCK_STREAM, 0);
        const void* plain = &address;
        EXPECT_EQ(::connect(peer, static_cast<const sockaddr*>(plain), sizeof address), 0);
        return peer;
    };
    for (int i = 0; i < 5; ++i)
        silent.push_back(connect());
    const int endless = connect();
    const std::string flood(20'000, 'x');
    EXPECT_GT(::send(endless, flood.data(), flood.size(), MSG_NOSIGNAL), 0);
    EXPECT_EQ(*ask("link"), "link of link");
    char byte = 0;
    const auto isHungUpOn = [&] { return ::recv(endless, &byte, 1, MSG_DONTWAIT) >= 0 || errno != EAGAIN; };
    EXPECT_TRUE(loop_->runUntil(isHungUpOn));
    ::close(endless);
    for (const int peer : silent)
        ::close(peer);
    EXPECT_THAT(commands_, ElementsAre("link"));
}

TEST_F(ControlSocketTest, WhatIsNoLineIsNotSent) {
    serve();
    EXPECT_FALSE(ask("link\nquit"));
    EXPECT_FALSE(ask(std::string(100'000, 'x')));
    EXPECT_THAT(commands_, ElementsAre());
}

}  // namespace
}  // namespace qs
