// Looks whether a folder that a person names holds a Maildir tree.
#pragma once

#include <filesystem>
#include <string>

namespace qs {

class FileSystem;

// A sentence for the person; empty when it is one. Reads the disk: not from the main thread.
std::string faultOfMaildirTree(const std::filesystem::path& folder, FileSystem& files);

}  // namespace qs
