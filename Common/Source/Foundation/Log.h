// Logging: every line goes to all loggers that were added, with source file, function and line. Secrets are masked
// before a line reaches any logger, so that no logger has to think of it. Safe from every thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

enum class LogLevel { Error, Warning, Info, Debug };

struct LogLine {
    LogLevel level = LogLevel::Info;
    std::string message;
    std::string file, function;
    std::uint32_t line = 0;
    Date time;  // of the run loop that is installed, or the wall clock before there is one
};

class DDLogger {
public:
    virtual ~DDLogger() = default;
    virtual void log(const LogLine& line) = 0;  // called under the log's lock
};

class DDLog {
public:
    static void addLogger(std::shared_ptr<DDLogger> logger);
    static void removeLogger(const std::shared_ptr<DDLogger>& logger);
    static void removeAllLoggers();
    static std::vector<std::shared_ptr<DDLogger>> allLoggers();
    // From now on this text (a password, a token) is replaced by "•••" in every line. Texts under 6 bytes are ignored.
    static void maskSecret(std::string_view secret);
    static void log(LogLine line);
};

void logError(std::string_view message, std::source_location where = std::source_location::current());
void logWarning(std::string_view message, std::source_location where = std::source_location::current());
void logInfo(std::string_view message, std::source_location where = std::source_location::current());
void logDebug(std::string_view message, std::source_location where = std::source_location::current());

// The system log. One shared instance, as adding it twice would double every line.
class DDASLLogger : public DDLogger {
public:
    static std::shared_ptr<DDASLLogger> sharedInstance();
};

// The terminal: standard error, coloured when it is one.
class DDTTYLogger : public DDLogger {
public:
    static std::shared_ptr<DDTTYLogger> sharedInstance();
    // Lines of more detailed levels are left out. From every thread; everything is printed when nothing was set.
    virtual void setMostDetailed(LogLevel level) = 0;
};

// Files <baseName>-<UTC time of creation>.log: a new one is begun when the current one is older than the rolling
// frequency (at first 7 days), and the oldest go when there are more than the maximum (at first 4). After a restart the
// youngest file is continued. Files are 0600; the folder is made 0700 with the first line.
class DDFileLogger : public DDLogger {
public:
    static std::shared_ptr<DDFileLogger> make(std::filesystem::path folder, std::string baseName);
    virtual void setRollingFrequency(TimeInterval seconds) = 0;
    virtual void setMaximumNumberOfLogFiles(int count) = 0;
    // The file that the next line goes to; it may not exist yet.
    virtual std::filesystem::path currentLogFilePath() const = 0;
};

}  // namespace qs
