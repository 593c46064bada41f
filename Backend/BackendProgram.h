// The program around the server: configuration, log, signals, the address on standard output.
#pragma once

#include <filesystem>

#include "BackendOptions.h"

namespace qs {

// Runs until SIGINT or SIGTERM; answers the program's exit code. `shippedFolder` holds the templates for a demo.
int runBackend(const BackendOptions& options, const std::filesystem::path& shippedFolder);

}  // namespace qs
