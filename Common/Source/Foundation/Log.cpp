#include "Foundation/Log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>

#include "Foundation/LogMask.h"
#include "Foundation/LogTime.h"
#include "Foundation/RunLoop.h"

namespace qs {
namespace {

struct LogState {
    std::mutex lock;
    std::vector<std::shared_ptr<DDLogger>> loggers;
    LogMask mask;
};

// Never destroyed: objects that go at the end of the program may still log.
LogState& state() {
    static LogState* const state = new LogState;
    return *state;
}

// True while this thread holds the log's lock.
thread_local bool isLogging = false;

std::string fileNameOf(const char* path) {
    std::string_view text = path;
    return std::string(text.substr(text.rfind('/') + 1));
}

// "Kind qs::Thing::doIt(int)::<lambda()>" -> "qs::Thing::doIt"
std::string functionNameOf(const char* signature) {
    std::string_view text = signature;
    text = text.substr(0, text.find('('));
    return std::string(text.substr(text.rfind(' ') + 1));
}

void logAt(LogLevel level, std::string_view message, const std::source_location& where) {
    DDLog::log({level,
                std::string(message),
                fileNameOf(where.file_name()),
                functionNameOf(where.function_name()),
                where.line(),
                {}});
}

}  // namespace

Date logTimeNow() {
    if (RunLoop* loop = RunLoop::mainIfInstalled()) return loop->now();
    return {std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count()};
}

void DDLog::addLogger(std::shared_ptr<DDLogger> logger) {
    std::lock_guard guard(state().lock);
    auto& loggers = state().loggers;
    if (logger && std::find(loggers.begin(), loggers.end(), logger) == loggers.end())
        loggers.push_back(std::move(logger));
}

void DDLog::removeLogger(const std::shared_ptr<DDLogger>& logger) {
    std::lock_guard guard(state().lock);
    std::erase(state().loggers, logger);
}

void DDLog::removeAllLoggers() {
    std::vector<std::shared_ptr<DDLogger>> removed;
    std::lock_guard guard(state().lock);
    removed.swap(state().loggers);
}

std::vector<std::shared_ptr<DDLogger>> DDLog::allLoggers() {
    std::lock_guard guard(state().lock);
    return state().loggers;
}

void DDLog::maskSecret(std::string_view secret) {
    std::lock_guard guard(state().lock);
    state().mask.addSecret(secret);
}

void DDLog::log(LogLine line) {
    if (line.time == Date{}) line.time = logTimeNow();
    if (isLogging) {  // a logger has something to say about itself
        std::fprintf(stderr, "%s:%u %s\n", line.file.c_str(), static_cast<unsigned>(line.line),
                     singleLogLine(state().mask.masked(std::move(line.message))).c_str());
        return;
    }
    std::lock_guard guard(state().lock);
    if (state().loggers.empty()) return;
    line.message = singleLogLine(state().mask.masked(std::move(line.message)));
    isLogging = true;
    for (const auto& logger : state().loggers) {
        try {
            logger->log(line);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "A logger failed: %s\n", e.what());
        }
    }
    isLogging = false;
}

void logError(std::string_view message, std::source_location where) { logAt(LogLevel::Error, message, where); }
void logWarning(std::string_view message, std::source_location where) { logAt(LogLevel::Warning, message, where); }
void logInfo(std::string_view message, std::source_location where) { logAt(LogLevel::Info, message, where); }
void logDebug(std::string_view message, std::source_location where) { logAt(LogLevel::Debug, message, where); }

}  // namespace qs
