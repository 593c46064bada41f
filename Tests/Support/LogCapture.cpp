#include "Support/LogCapture.h"

#include <mutex>

namespace qs {

class LogCapture::Logger : public DDLogger {
public:
    void log(const LogLine& line) override {
        std::lock_guard guard(lock);
        lines.push_back(line);
    }

    std::mutex lock;
    std::vector<LogLine> lines;
};

LogCapture::LogCapture() : logger_(std::make_shared<Logger>()) { DDLog::addLogger(logger_); }
LogCapture::~LogCapture() { DDLog::removeLogger(logger_); }

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard guard(logger_->lock);
    return logger_->lines;
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> found;
    for (const LogLine& line : lines())
        found.push_back(line.message);
    return found;
}

std::vector<std::string> LogCapture::messages(LogLevel level) const {
    std::vector<std::string> found;
    for (const LogLine& line : lines())
        if (line.level == level) found.push_back(line.message);
    return found;
}

bool LogCapture::contains(std::string_view text) const {
    for (const LogLine& line : lines())
        if (line.message.find(text) != std::string::npos) return true;
    return false;
}

void LogCapture::clear() {
    std::lock_guard guard(logger_->lock);
    logger_->lines.clear();
}

}  // namespace qs
