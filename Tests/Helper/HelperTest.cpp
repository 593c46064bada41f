#include <gmock/gmock.h>
#include <sdbus-c++/sdbus-c++.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "RunningApplications/RunningApplications.h"
#include "Support/PrivateBus.h"
#include "Support/TemporaryFolder.h"
#include "Support/Waiting.h"

namespace qs {
namespace {

using namespace std::string_literals;
using ::testing::HasSubstr;

// The helper, started with these arguments; what it says is read line by line.
class HelperProcess {
public:
    explicit HelperProcess(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), QS_HELPER_PROGRAM);
        std::vector<char*> words;
        for (std::string& each : arguments)
            words.push_back(each.data());
        words.push_back(nullptr);
        int output[2];
        if (::pipe(output) != 0) throw std::runtime_error("no pipe");
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(output[1], 1);
            ::dup2(output[1], 2);
            ::close(output[0]);
            ::close(output[1]);
            ::execv(words[0], words.data());
            ::_exit(127);
        }
        ::close(output[1]);
        output_ = ::fdopen(output[0], "r");
    }
    ~HelperProcess() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
        if (output_) ::fclose(output_);
    }
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    int number() const { return process_; }
    void ask(int signal) const { ::kill(process_, signal); }
    // Reads on until a line holds the text; false if the helper ends before.
    bool says(std::string_view text) {
        char line[4096];
        while (::fgets(line, sizeof line, output_))
            if (std::string_view(line).find(text) != std::string_view::npos) return true;
        return false;
    }
    std::string restOfOutput() {
        std::string all;
        for (int c = ::fgetc(output_); c != EOF; c = ::fgetc(output_))
            all += static_cast<char>(c);
        return all;
    }
    int exitCode() {
        int status = 0;
        ::waitpid(std::exchange(process_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_ = -1;
    FILE* output_ = nullptr;
};

// The desktop's notification service, which only remembers.
class FakeNotificationService {
public:
    explicit FakeNotificationService(std::vector<std::string> capabilities)
        : connection_(sdbus::createSessionBusConnection("org.freedesktop.Notifications")),
          object_(sdbus::createObject(*connection_, "/org/freedesktop/Notifications")) {
        const std::string interface = "org.freedesktop.Notifications";
        object_->registerMethod("GetCapabilities").onInterface(interface).implementedAs([capabilities] {
            return capabilities;
        });
        object_->registerMethod("Notify").onInterface(interface).implementedAs(
            [this](const std::string&, const std::uint32_t&, const std::string&, const std::string& summary,
                   const std::string& body, const std::vector<std::string>&,
                   const std::map<std::string, sdbus::Variant>&, const std::int32_t&) {
                const std::lock_guard hold(lock_);
                shown_.emplace_back(summary, body);
                changed_.notify_all();
                return static_cast<std::uint32_t>(shown_.size());
            });
        object_->finishRegistration();
        connection_->enterEventLoopAsync();
    }
    ~FakeNotificationService() { connection_->leaveEventLoop(); }

    std::pair<std::string, std::string> waitForNumber(std::size_t count) {
        std::unique_lock hold(lock_);
        const bool isThere = changed_.wait_for(hold, kLongestWait, [&] { return shown_.size() >= count; });
        return isThere ? shown_[count - 1] : std::pair("nothing came"s, ""s);
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::pair<std::string, std::string>> shown_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

class Helper : public ::testing::Test {
protected:
    void post(std::string_view name, const Value& userInfo) {
        platform_.distributedNotifications->postNotificationName("com.apple.Mail.Quillstead." + std::string(name), "",
                                                                 userInfo);
    }

    PrivateBus bus_;
    TemporaryFolder folder_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    Platform platform_ = Platform::make({.dataFolder = folder_ / "data"});
};

TEST_F(Helper, ShowsNotificationsAsPlainTextThroughTheDesktop) {
    const struct {
        std::vector<std::string> capabilities;
        const char* body;
    } desktops[] = {{{"body", "body-markup"}, "Unsubscribed from &lt;b&gt;A &amp; B&lt;/b&gt;"},
                    {{"body"}, "Unsubscribed from <b>A & B</b>"}};
    for (const auto& desktop : desktops) {
        FakeNotificationService service(desktop.capabilities);
        HelperProcess helper({});
        ASSERT_TRUE(helper.says("Listening"));
        post("UserNotification", Dictionary{{"title", "Done\n"}, {"subtitle", "Unsubscribed from <b>A & B</b>"}});
        EXPECT_EQ(service.waitForNumber(1), std::pair("Done "s, std::string(desktop.body)));
        post("UserNotification", {});
        post("UserNotification", Dictionary{{"subtitle", std::string(5000, 'x')}});
        const auto [title, body] = service.waitForNumber(2);
        EXPECT_EQ(title, "Quillstead");
        EXPECT_LE(body.size(), 1000u);
    }
}

TEST_F(Helper, WithoutANotificationServiceTheTerminalTells) {
    HelperProcess helper({});
    ASSERT_TRUE(helper.says("Listening"));
    post("UserNotification", Dictionary{{"title", "Reminder"}, {"subtitle", "was made"}});
    EXPECT_TRUE(helper.says("Reminder: was made"));
}

TEST_F(Helper, AnswersTheQuestionForUpdatesAloudOnlyWhenAsked) {
    FakeNotificationService service({});
    HelperProcess helper({});
    ASSERT_TRUE(helper.says("Listening"));
    post("CheckForUpdates", Dictionary{{"QSUpdateIncludeBeta", true}});
    EXPECT_TRUE(helper.says("they come with the checkout"));
    post("CheckForUpdates", Dictionary{{"QSUpdateIncludeBeta", false}, {"QSUpdateShowDialog", true}});
    EXPECT_THAT(service.waitForNumber(1).second, HasSubstr("Updates come with your checkout"));
}

TEST_F(Helper, UninstallsFromItsFoldersAndEnds) {
    const auto info = folder_.write("data/Bundles/Quillstead.mailbundle/Info.plist", "x");
    HelperProcess helper({"--data", (folder_ / "data").string(), "--bundles", (folder_ / "data/Bundles").string()});
    ASSERT_TRUE(helper.says("Listening"));
    post("Uninstall", {});
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_FALSE(std::filesystem::exists(info.parent_path()));
}

TEST_F(Helper, WithoutFoldersNothingIsRemoved) {
    HelperProcess helper({});
    ASSERT_TRUE(helper.says("Listening"));
    post("Uninstall", {});
    EXPECT_TRUE(helper.says("the bundle stays"));
}

TEST_F(Helper, IsKnownWhileItRunsAndOneIsEnough) {
    constexpr std::string_view identifier = "com.tallowbay.Quillstead";
    HelperProcess helper({});
    ASSERT_TRUE(helper.says("Listening"));
    const auto running = platform_.runningApplications->runningApplicationsWithBundleIdentifier(identifier);
    ASSERT_EQ(running.size(), 1u);
    EXPECT_EQ(running[0].processIdentifier, helper.number());
    HelperProcess second({});
    EXPECT_TRUE(second.says("another one runs already"));
    EXPECT_EQ(second.exitCode(), 0);
    helper.ask(SIGTERM);
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_TRUE(platform_.runningApplications->runningApplicationsWithBundleIdentifier(identifier).empty());
}

TEST_F(Helper, EndsWithTheProcessItWorksFor) {
    HelperProcess other({});
    ASSERT_TRUE(other.says("Listening"));
    const PrivateBus ownBus;  // so that two can run
    HelperProcess helper({"--for-process", std::to_string(other.number())});
    ASSERT_TRUE(helper.says("Listening"));
    other.ask(SIGTERM);
    EXPECT_EQ(other.exitCode(), 0);
    EXPECT_EQ(helper.exitCode(), 0);
}

TEST(HelperWithoutBus, SaysSoAndEnds) {
    const NoBus none;
    HelperProcess helper({});
    EXPECT_THAT(helper.restOfOutput(), HasSubstr("there is no D-Bus session bus"));
    EXPECT_EQ(helper.exitCode(), 1);
}

TEST(HelperCommandLine, IsExplainedAndChecked) {
    const struct {
        std::vector<std::string> arguments;
        const char* answer;
        int code;
    } cases[] = {{{"--help"}, "--bundles DIR", 0},
                 {{"--nonsense"}, "There is no option '--nonsense'", 2},
                 {{"--data"}, "needs a value", 2},
                 {{"--for-process", "12x"}, "'12x' is no process number", 2}};
    for (const auto& c : cases) {
        HelperProcess helper(c.arguments);
        EXPECT_THAT(helper.restOfOutput(), HasSubstr(c.answer));
        EXPECT_EQ(helper.exitCode(), c.code) << c.answer;
    }
}

}  // namespace
}  // namespace qs
