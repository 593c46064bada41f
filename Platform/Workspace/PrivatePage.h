// Opens an address in the person's browser without letting it stand on a command line, which other users of the machine
// can read: the browser gets a page in a file that only the person may read, and that leads on to the address.
#pragma once

#include <filesystem>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class Workspace;

// Writes the page, which shows the sentence for a moment. The file is the caller's to remove when the browser has had
// its time.
Result<void> openPrivately(Workspace& workspace, const std::filesystem::path& file, std::string_view address,
                           std::string_view sentence);

}  // namespace qs
