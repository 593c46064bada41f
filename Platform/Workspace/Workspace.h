// What the desktop does for a program: open addresses and files, find and start other applications.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class Workspace {
public:
    virtual ~Workspace() = default;

    // In the user's browser or the application for the scheme. Only http, https, mailto and file are passed on.
    virtual Result<void> openURL(std::string_view url) = 0;
    // In the program whose addresses begin with that scheme, which the caller knows by itself and not from the address.
    virtual Result<void> openURLOfProgram(std::string_view url, std::string_view scheme) = 0;
    // With the named application if it is there ("Console": the desktop's viewer for text and logs), else the default.
    virtual Result<void> openFile(const std::filesystem::path& file, std::string_view withApplication = {}) = 0;
    // Where the application of that identifier is installed; empty if it isn't. The helper stands beside the plug-in.
    virtual std::filesystem::path absolutePathForAppBundleWithIdentifier(std::string_view identifier) = 0;
    // Options: 0x200 launches without activating. The process is on its own; its end is not waited for.
    virtual Result<void> launchApplicationAtURL(const std::filesystem::path& application, unsigned options,
                                                const std::vector<std::string>& arguments) = 0;
    // Tells where applications of an identifier are, ahead of the desktop's own knowledge. The arguments come before
    // those of each launch.
    virtual void registerApplication(std::string_view identifier, std::filesystem::path executable,
                                     std::vector<std::string> arguments = {}) = 0;
};

}  // namespace qs
