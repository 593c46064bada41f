// Takes the plug-in's bundle off the disk when it is uninstalled, and nothing else.
#pragma once

#include <filesystem>

#include "Foundation/Result.h"

namespace qs {

// Removes <bundles>/Quillstead.mailbundle with all that is in it; a link of that name is removed, not what it leads to.
// Leaves <bundles>/Quillstead.removed, by which the mail program knows not to put it there again.
// Refuses, removing nothing, unless `bundles` really lies inside of `data` (links resolved), and when it belongs to a
// source or build tree. A bundle that is not there is an error, too.
Result<void> removeInstalledBundle(const std::filesystem::path& bundles, const std::filesystem::path& data);

}  // namespace qs
