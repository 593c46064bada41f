// The command line of quillstead-backend.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct BackendOptions {
    std::filesystem::path configFile, demoFolder;  // one of them is set unless a text is asked for
    std::optional<int> port;
    bool help = false, version = false, exampleConfig = false, verbose = false;
};

Result<BackendOptions> parseBackendOptions(const std::vector<std::string>& arguments);
std::string backendHelp();

}  // namespace qs
