#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "Adapters.h"
#include "CrashReporter/CrashHandler.h"
#include "CrashReporter/CrashReporter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::string_view kPending = ".crash", kAnswered = ".answered";

// One line each, whatever is in a name.
std::string oneLine(std::string_view text) {
    std::string line(text.substr(0, 500));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return line;
}

class FileCrashReporter : public CrashReporter {
public:
    explicit FileCrashReporter(std::filesystem::path folder) : folder_(std::move(folder)) {}

    void configureWithIdentifier(std::string_view applicationIdentifier) override {
        set("Application", applicationIdentifier);
    }
    void setUserName(std::string_view name) override { set("User name", name); }
    void setUserEmail(std::string_view email) override { set("User e-mail", email); }
    void setMetaData(std::string_view key, std::string_view value) override { set(key, value); }

    void startManager() override {
        const std::lock_guard hold(lock_);
        if (std::exchange(isStarted_, true)) return;
        if (const auto made = FileSystem::real().makeFolder(folder_); !made) {
            logWarning(stringWithFormat("Crashes will leave no report: %@", {made.error().description}));
            return;
        }
        // The name is chosen now, as a handler could hardly; the number keeps lives with equal process ids apart.
        std::uint32_t random = 0;
        if (::getrandom(&random, sizeof random, 0) != sizeof random) random = 0;  // then the process id must do
        const auto name = stringWithFormat("%d-%08lx%@", {::getpid(), std::int64_t{random}, kPending});
        installCrashHandlers((folder_ / name).string());
    }

    std::vector<std::filesystem::path> pendingReports() const override {
        auto files = FileSystem::real().list(folder_);
        if (!files) return {};  // no folder, no reports
        std::erase_if(*files, [](const FileInfo& file) { return file.isFolder || file.path.extension() != kPending; });
        std::stable_sort(files->begin(), files->end(),
                         [](const FileInfo& a, const FileInfo& b) { return a.modified < b.modified; });
        std::vector<std::filesystem::path> reports;
        for (const FileInfo& file : *files)
            reports.push_back(file.path);
        return reports;
    }

    void dismissReport(const std::filesystem::path& report) override {
        if (!isReport(report)) return;
        auto answered = report;
        answered.replace_extension(kAnswered);
        logIfFailed(FileSystem::real().rename(report, answered));
    }

    void deleteReport(const std::filesystem::path& report) override {
        if (isReport(report)) logIfFailed(FileSystem::real().remove(report));
    }

private:
    bool isReport(const std::filesystem::path& file) const {
        return file.parent_path() == folder_ && (file.extension() == kPending || file.extension() == kAnswered);
    }
    static void logIfFailed(const Result<void>& result) {
        if (!result) logWarning(result.error().description);
    }

    void set(std::string_view key, std::string_view value) {
        const std::lock_guard hold(lock_);
        facts_.insert_or_assign(oneLine(key), oneLine(value));
        std::string header;
        for (const auto& [name, fact] : facts_)
            header.append(name).append(": ").append(fact).append("\n");
        setCrashReportHeader(header);
    }

    const std::filesystem::path folder_;
    std::mutex lock_;
    bool isStarted_ = false;
    std::map<std::string, std::string> facts_;
};

}  // namespace

std::shared_ptr<CrashReporter> makeCrashReporter(std::filesystem::path folder) {
    return std::make_shared<FileCrashReporter>(std::move(folder));
}

}  // namespace qs
