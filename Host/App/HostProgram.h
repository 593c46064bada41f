// The program: makes everything in order, runs, and takes it down in order.
//
// Main thread. What goes wrong at the start is told in a sentence on standard error; nothing is lost by it.
#pragma once

#include <filesystem>

#include "HostOptions.h"

namespace qs {

// Runs until the person quits it, or hands its request to the program that runs already on the same data. Answers the
// exit code: 0, or 1 after a failed start or end. `programFolder` holds the program and the helper.
int runHost(const HostOptions& options, const std::filesystem::path& programFolder);

}  // namespace qs
