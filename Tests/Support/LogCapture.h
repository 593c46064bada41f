// Catches the log while it lives, so that a test can ask what was told and at which level.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"

namespace qs {

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    std::vector<std::string> messages() const;
    std::vector<std::string> messages(LogLevel level) const;
    bool contains(std::string_view text) const;  // in the message of any line
    void clear();

private:
    class Logger;
    std::shared_ptr<Logger> logger_;
};

}  // namespace qs
