#include <fcntl.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>
#include <mutex>
#include <optional>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/LogTime.h"

namespace qs {
namespace {

constexpr const char* kLinePattern = "%Y-%m-%d %H:%M:%S.%e%z %^%l%$ %s:%# %! %v";
constexpr const char* kSystemLogPattern = "%s:%# %! %v";  // the system log adds time and level itself

spdlog::level::level_enum levelOf(LogLevel level) {
    switch (level) {
    case LogLevel::Error: return spdlog::level::err;
    case LogLevel::Warning: return spdlog::level::warn;
    case LogLevel::Info: return spdlog::level::info;
    case LogLevel::Debug: break;
    }
    return spdlog::level::debug;
}

void logTo(spdlog::sinks::sink& sink, const LogLine& line) {
    using namespace std::chrono;
    const auto time = duration_cast<spdlog::log_clock::duration>(duration<double>(line.time.secondsSince1970));
    sink.log({spdlog::log_clock::time_point(time),
              {line.file.c_str(), static_cast<int>(line.line), line.function.c_str()},
              "",
              levelOf(line.level),
              line.message});
    sink.flush();
}

class SystemLogger final : public DDASLLogger {
public:
    SystemLogger() { sink_.set_pattern(kSystemLogPattern); }
    void log(const LogLine& line) override { logTo(sink_, line); }

private:
    spdlog::sinks::syslog_sink_mt sink_{"Quillstead", LOG_PID, LOG_USER, true};
};

class TerminalLogger final : public DDTTYLogger {
public:
    TerminalLogger() { sink_.set_pattern(kLinePattern); }
    void log(const LogLine& line) override {
        if (line.level <= mostDetailed_) logTo(sink_, line);
    }
    void setMostDetailed(LogLevel level) override { mostDetailed_ = level; }

private:
    std::atomic<LogLevel> mostDetailed_ = LogLevel::Debug;
    spdlog::sinks::stderr_color_sink_mt sink_;
};

// Appends whole lines to a file that only its owner can read and that no child process inherits.
class PrivateFileSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit PrivateFileSink(const std::filesystem::path& path)
        : file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR)) {
        if (file_ < 0) spdlog::throw_spdlog_ex("cannot open " + path.string(), errno);
        set_pattern(kLinePattern);
    }
    ~PrivateFileSink() override { ::close(file_); }
    PrivateFileSink(const PrivateFileSink&) = delete;
    PrivateFileSink& operator=(const PrivateFileSink&) = delete;

    // False when somebody has removed it, and lines would go nowhere.
    bool hasName() const {
        struct stat info {};
        return ::fstat(file_, &info) == 0 && info.st_nlink > 0;
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t text;
        formatter_->format(message, text);
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t written = ::write(file_, text.data() + done, text.size() - done);
            if (written < 0 && errno != EINTR) spdlog::throw_spdlog_ex("cannot write", errno);
            if (written > 0) done += static_cast<std::size_t>(written);
        }
    }
    void flush_() override {}

private:
    const int file_;
};

constexpr const char* kNameDateFormat = "%Y-%m-%dT%H-%M-%SZ";  // sorts by time, and is a legal name everywhere
constexpr const char* kSuffix = ".log";

// Files are named <base>-<time of creation>.log, so that their age survives copies and restarts.
class FileLogger final : public DDFileLogger {
public:
    FileLogger(std::filesystem::path folder, std::string baseName)
        : folder_(std::move(folder)), prefix_(std::move(baseName) + "-") {}

    void setRollingFrequency(TimeInterval seconds) override {
        std::lock_guard guard(lock_);
        frequency_ = seconds;
    }
    void setMaximumNumberOfLogFiles(int count) override {
        std::lock_guard guard(lock_);
        mostFiles_ = static_cast<std::size_t>(std::max(count, 1));
        removeOldFiles();
    }
    std::filesystem::path currentLogFilePath() const override {
        std::lock_guard guard(lock_);
        rollIfTooOld(logTimeNow());
        return path();
    }

    void log(const LogLine& line) override {
        std::lock_guard guard(lock_);
        try {
            rollIfTooOld(line.time);
            if (sink_ && !sink_->hasName()) sink_.reset();
            if (!sink_) open();
            logTo(*sink_, line);
            failing_ = false;
        } catch (const std::exception& e) {
            sink_.reset();
            // Told once, not with each line of a full disk.
            if (!std::exchange(failing_, true)) std::fprintf(stderr, "The log file fails: %s\n", e.what());
        }
    }

private:
    static std::string dateText(std::time_t created) {
        std::tm parts{};
        char text[32];
        ::gmtime_r(&created, &parts);
        return {text, std::strftime(text, sizeof text, kNameDateFormat, &parts)};
    }
    std::filesystem::path path() const { return folder_ / (prefix_ + dateText(*created_) + kSuffix); }

    // The creation time in a file's name, if the file is one of ours.
    std::optional<std::time_t> createdFromName(const std::string& name) const {
        if (!name.starts_with(prefix_)) return std::nullopt;
        std::tm parts{};
        const char* rest = ::strptime(name.c_str() + prefix_.size(), kNameDateFormat, &parts);
        if (!rest || std::string_view(rest) != kSuffix) return std::nullopt;
        return ::timegm(&parts);
    }
    std::vector<std::time_t> existingFiles() const {
        std::vector<std::time_t> found;
        std::error_code ignored;  // no folder, no files
        for (const auto& entry : std::filesystem::directory_iterator(folder_, ignored))
            if (auto created = createdFromName(entry.path().filename().string())) found.push_back(*created);
        std::sort(found.begin(), found.end());
        return found;
    }

    // Goes on with the youngest file there is, or decides on the name of a new one.
    void rollIfTooOld(Date now) const {
        if (!created_) {
            const auto files = existingFiles();
            if (!files.empty()) created_ = files.back();
        }
        // A file from the far future was made when the clock was wrong.
        const bool tooOld = created_ && std::abs(now.secondsSince1970 - static_cast<double>(*created_)) >= frequency_;
        if (created_ && !tooOld) return;
        created_ = static_cast<std::time_t>(std::floor(now.secondsSince1970));
        sink_.reset();
    }

    void open() {
        if (auto made = FileSystem::real().makeFolder(folder_); !made)
            throw std::runtime_error(made.error().description);
        sink_ = std::make_unique<PrivateFileSink>(path());
        removeOldFiles();
    }

    void removeOldFiles() const {
        auto files = existingFiles();
        // The current file stays, and counts even if it is not there yet.
        if (created_) std::erase(files, *created_);
        const std::size_t others = mostFiles_ - (created_ ? 1 : 0);
        for (std::size_t i = 0; i + others < files.size(); ++i) {
            std::error_code ignored;  // it is tried again with the next new file
            std::filesystem::remove(folder_ / (prefix_ + dateText(files[i]) + kSuffix), ignored);
        }
    }

    const std::filesystem::path folder_;
    const std::string prefix_;
    mutable std::mutex lock_;
    TimeInterval frequency_ = 7 * 86'400.0;
    std::size_t mostFiles_ = 4;
    bool failing_ = false;
    mutable std::optional<std::time_t> created_;  // of the current file; unknown before the first look
    mutable std::unique_ptr<PrivateFileSink> sink_;
};

}  // namespace

std::shared_ptr<DDASLLogger> DDASLLogger::sharedInstance() {
    static const auto logger = std::make_shared<SystemLogger>();
    return logger;
}

std::shared_ptr<DDTTYLogger> DDTTYLogger::sharedInstance() {
    static const auto logger = std::make_shared<TerminalLogger>();
    return logger;
}

std::shared_ptr<DDFileLogger> DDFileLogger::make(std::filesystem::path folder, std::string baseName) {
    return std::make_shared<FileLogger>(std::move(folder), std::move(baseName));
}

}  // namespace qs
