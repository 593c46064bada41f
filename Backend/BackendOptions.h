// The command line of quillstead-backend.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct BackendOptions {
    std::filesystem::path configFile, demoFolder;  // one of them is set unless a text is asked for
    std::optional<int> port;
    std::string account;                                   // of a demo: there from the start; its password is the
                                                           // first line of standard input
    std::map<std::string, std::filesystem::path> inboxes;  // of a demo: Maildirs by address
    bool untilInputEnds = false;
    bool help = false, version = false, exampleConfig = false, verbose = false;
};

Result<BackendOptions> parseBackendOptions(const std::vector<std::string>& arguments);
std::string backendHelp();

}  // namespace qs
