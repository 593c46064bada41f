// The templates for signatures that every account is offered: Mustache files in a folder.
#pragma once

#include <filesystem>

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

class FileSystem;

// By name: {"id": file name without ".mustache", "name": the same for people, "source": content}. Empty for no folder.
// Fails for a folder that can't be read, and for a file that is no UTF-8.
Result<Array> loadSignatureTemplates(const std::filesystem::path& folder, FileSystem& files);

}  // namespace qs
