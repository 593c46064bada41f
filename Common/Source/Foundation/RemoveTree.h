// Deletes a folder with all that is in it.
#pragma once

#include <filesystem>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;

// Symbolic links are removed, never followed: what they lead to belongs to somebody else. Goes on past what can't be
// removed, and answers the first of these errors. Not durable before its parent is synced.
Result<void> removeTree(FileSystem& files, const std::filesystem::path& folder);

}  // namespace qs
