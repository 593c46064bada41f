// Names for files that must not replace others.
#pragma once

#include <filesystem>

#include "Foundation/FileSystem.h"

namespace qs {

// The path itself while nothing is there, else the first of "base-1.ext" to "base-998.ext" that isn't; the one of 998
// in any case. A path without extension keeps the dot ("base-1."). By the time it is used the path may be taken: create
// the file so that this shows (FileSystem::writeNew).
std::filesystem::path QSNextAvailableFilePath(const std::filesystem::path& path,
                                              FileSystem& files = FileSystem::real());

}  // namespace qs
