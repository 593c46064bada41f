// Where the plug-in's object store lies; the store itself is QSPluginDelegate's.
#pragma once

#include <filesystem>

namespace qs {

// "QuillsteadData.sqlite" in the user's documents folder.
std::filesystem::path objectStoreFile();
// With the database's side files. What can't be removed stays.
void removeObjectStore();

}  // namespace qs
