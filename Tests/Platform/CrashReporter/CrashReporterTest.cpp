#include "CrashReporter/CrashReporter.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "Adapters.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

// Each crash happens in a process of its own.
class CrashReporterTest : public ::testing::Test {
protected:
    CrashReporterTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    std::shared_ptr<CrashReporter> started(const std::filesystem::path& folder) {
        auto reporter = makeCrashReporter(folder);
        reporter->configureWithIdentifier("0123456789abcdef");
        reporter->setUserName("Ann\nSignal: forged");
        reporter->startManager();
        reporter->setUserEmail("ann@example.com");
        reporter->setMetaData("BitCrashMetaApplicationVersion", "17");
        return reporter;
    }
    // The only report that a crash left, and what it says.
    std::string reportIn(const std::filesystem::path& folder) {
        const auto pending = makeCrashReporter(folder)->pendingReports();
        EXPECT_EQ(pending.size(), 1u);
        return pending.empty() ? "" : contentOf(pending[0]);
    }
};

class SharedFolder {
public:
    // A death test runs this test again in the child, so the folder's name must be the same there.
    explicit SharedFolder(const char* name) {
        const char* known = ::getenv(name);
        if (known) {
            path_ = known;
            return;
        }
        own_ = std::make_unique<TemporaryFolder>();
        path_ = *own_ / "Crash Reports";
        ::setenv(name, path_.c_str(), 1);
        name_ = name;
    }
    ~SharedFolder() {
        if (own_) ::unsetenv(name_);
    }
    SharedFolder(const SharedFolder&) = delete;
    SharedFolder& operator=(const SharedFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::unique_ptr<TemporaryFolder> own_;
    std::filesystem::path path_;
    const char* name_ = nullptr;
};

TEST_F(CrashReporterTest, AFaultLeavesAPrivateReportAndTheDefaultEnd) {
    const SharedFolder folder("QS_TEST_CRASH_FAULT");
    EXPECT_EXIT(
        {
            const auto reporter = started(folder.path());
            std::thread([] { ::raise(SIGSEGV); }).join();
        },
        ::testing::KilledBySignal(SIGSEGV), "");
    EXPECT_THAT(reportIn(folder.path()),
                AllOf(HasSubstr("Signal: SIGSEGV"), HasSubstr("Application: 0123456789abcdef\n"),
                      HasSubstr("User name: Ann Signal: forged\n"), HasSubstr("User e-mail: ann@example.com\n"),
                      HasSubstr("BitCrashMetaApplicationVersion: 17\n"), HasSubstr("Stack:\n"),
                      HasSubstr("platform-test("), HasSubstr("Memory map:\n"), HasSubstr("r-xp")));
    struct stat facts {};
    ASSERT_EQ(::stat(makeCrashReporter(folder.path())->pendingReports().at(0).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST_F(CrashReporterTest, AnUncaughtExceptionIsNamedButNotQuoted) {
    const SharedFolder folder("QS_TEST_CRASH_EXCEPTION");
    EXPECT_EXIT(
        {
            const auto reporter = started(folder.path());
            std::thread([] { throw std::runtime_error("Subject: a surprise"); }).join();
        },
        ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_THAT(reportIn(folder.path()),
                AllOf(HasSubstr("Uncaught exception: std::runtime_error"), Not(HasSubstr("surprise"))));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
volatile int depth = 0;
int recurse(int n) {  // NOLINT(misc-no-recursion): that is the point
    volatile char frame[4096] = {};
    depth = n;
    return n == -1 ? 0 : recurse(n + 1) + frame[n & 4095];
}
TEST_F(CrashReporterTest, AnExhaustedStackIsReportedFromTheSpareOne) {
    const SharedFolder folder("QS_TEST_CRASH_STACK");
    EXPECT_EXIT(
        {
            const auto reporter = started(folder.path());
            recurse(0);
        },
        ::testing::KilledBySignal(SIGSEGV), "");
    EXPECT_THAT(reportIn(folder.path()), HasSubstr("Signal: SIGSEGV"));
}
#endif

TEST_F(CrashReporterTest, ReportsArePendingUntilAnswered) {
    const TemporaryFolder folder;
    const auto reporter = makeCrashReporter(folder.path());
    const auto a = folder.write("b-1.crash", "older"), b = folder.write("a-2.crash", "newer");
    folder.write("notes.txt", "not a report");
    std::filesystem::last_write_time(a, std::filesystem::last_write_time(b) - std::chrono::hours(1));
    EXPECT_THAT(reporter->pendingReports(), ElementsAre(a, b));
    reporter->dismissReport(a);
    EXPECT_THAT(reporter->pendingReports(), ElementsAre(b));
    EXPECT_EQ(contentOf(folder / "b-1.answered"), "older") << "kept";
    reporter->deleteReport(b);
    EXPECT_THAT(reporter->pendingReports(), IsEmpty());
    reporter->deleteReport(folder / "notes.txt");
    EXPECT_TRUE(std::filesystem::exists(folder / "notes.txt")) << "only reports can be deleted";
    EXPECT_THAT(makeCrashReporter("/nowhere")->pendingReports(), IsEmpty());
}

}  // namespace
}  // namespace qs
