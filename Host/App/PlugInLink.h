// The plug-in's place among the bundles of a data folder: <data>/Bundles/Quillstead.mailbundle, a symbolic link to the
// built bundle. Uninstalling removes the link and leaves <data>/Bundles/Quillstead.removed, so that the next start does
// not bring it back.
#pragma once

#include <filesystem>

#include "Foundation/Result.h"

namespace qs {

enum class PlugInPlace { Linked, Uninstalled };

// Makes the link, or sets right one that leads elsewhere; a folder that somebody put there stays. `reinstall` forgets
// that it was uninstalled. Fails with a sentence when the bundle is not in `builtBundles` or the link can't be made.
Result<PlugInPlace> linkPlugIn(const std::filesystem::path& dataFolder, const std::filesystem::path& builtBundles,
                               bool reinstall);

}  // namespace qs
