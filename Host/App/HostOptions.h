// What the command line asks the program for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct HostOptions {
    bool help = false, version = false;
    bool demo = false, own = false, noBrowser = false, noPlugIn = false, reinstall = false, verbose = false;
    std::optional<int> port;  // 0: any free one; not given: the one of last time if it is free
    int osMinor = 12;
    std::filesystem::path data, bundles, page;  // empty: the usual places
    std::string openURL;                        // an address that the desktop hands over; empty for none
    std::optional<double> virtualClock;         // for tests: time stands at these seconds since 1970
};

// Fails with a sentence that names what can't be understood. Nothing else of the arguments counts then.
Result<HostOptions> parseHostOptions(const std::vector<std::string>& arguments);
std::string hostHelp();

}  // namespace qs
