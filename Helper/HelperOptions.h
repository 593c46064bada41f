// The helper's command line.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct HelperOptions {
    std::filesystem::path data;     // the user's data folder
    std::filesystem::path bundles;  // where the plug-in is installed; lies in the data folder
    int forProcess = 0;             // the helper ends when this process ends; 0: it stays
    bool help = false;
};

// Fails with a sentence that says which argument is wrong.
Result<HelperOptions> parseHelperOptions(const std::vector<std::string>& arguments);
std::string helperHelp();

}  // namespace qs
