// Crash reports: when the process dies of a fault, a report file with a stack trace is left in the reports folder; at
// the next start it is offered to the person, who may look at it, keep it or throw it away. Nothing is ever sent.
//
// Reports hold versions, signal, stack and the reporter's user name and e-mail, never mail or settings.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class CrashReporter {
public:
    virtual ~CrashReporter() = default;
    virtual void configureWithIdentifier(std::string_view applicationIdentifier) = 0;
    virtual void setUserName(std::string_view name) = 0;
    virtual void setUserEmail(std::string_view email) = 0;
    // Versions that go into a report, by the names in the host's standard defaults ("BitCrashMeta...").
    virtual void setMetaData(std::string_view key, std::string_view value) = 0;
    // Installs the handlers. Before it nothing is caught. Once per process.
    virtual void startManager() = 0;
    // Reports of earlier runs that nobody has answered yet, oldest first.
    virtual std::vector<std::filesystem::path> pendingReports() const = 0;
    virtual void dismissReport(const std::filesystem::path& report) = 0;  // keeps the file, asks no more
    virtual void deleteReport(const std::filesystem::path& report) = 0;
};

}  // namespace qs
