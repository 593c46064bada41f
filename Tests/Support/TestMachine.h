// The machine that a test runs on, as the program is told of it.
#pragma once

#include <utility>

#include "SystemFacts/ProcessInfo.h"

namespace qs {

class TestMachine : public ProcessInfo {
public:
    explicit TestMachine(std::filesystem::path folder, int osMinor = OperatingSystemVersion().minor)
        : folder_(std::move(folder)), osMinor_(osMinor) {}
    OperatingSystemVersion operatingSystemVersion() const override { return {.minor = osMinor_}; }
    std::string hostName() const override { return "test.example.org"; }
    std::string userFullName() const override { return "Ada Lovelace"; }
    std::filesystem::path dataFolder() const override { return folder_; }
    std::filesystem::path documentsFolder() const override { return folder_ / "Documents"; }
    std::filesystem::path logFolder() const override { return folder_ / "Logs"; }

private:
    const std::filesystem::path folder_;
    const int osMinor_;
};

}  // namespace qs
