// Where the plug-in's object store lies; the store itself is QSPluginDelegate's.
#pragma once

#include <filesystem>

#include "Foundation/Result.h"

namespace qs {

// "QuillsteadData.sqlite" in the user's documents folder.
std::filesystem::path objectStoreFile();
// With the database's side files. What can't be removed stays.
void removeObjectStore();
// An error of several faults (code 1560) with a text that lists them, or the first three of many.
Error withListOfDetails(const Error& error);

}  // namespace qs
