// The files that wait to go out with a note: a folder for each note beside the object store. Main thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

// Writes a file for the note of that identifier, under this name or one near it; durable when it returns. The name is
// one that holds no path. Answers where it lies.
Result<std::filesystem::path> writeNoteFile(std::string_view noteIdentifier, const std::string& fileName,
                                            std::string_view content);
// Those of the paths that lie in a folder of a note's.
void removeNoteFiles(const std::vector<std::string>& paths);
// Folders that hold none of these paths and are as old as records are kept.
void removeStrayNoteFiles(const std::vector<std::string>& needed, Date now);

}  // namespace qs
