// Brings a store from the model it was written with to the model of the program, without being told how: entities and
// properties may have come, gone, or been renamed (by their renaming identifiers), attributes may have become optional
// or, with a default, mandatory, and numbers may have become wider. Private to the store.
//
// Before it changes anything, a copy of the store is made in "<name> Copies" beside it; the last three are kept. A
// power cut leaves the old store or the new one.
#pragma once

#include <filesystem>

#include "Core/Store/ObjectModel.h"
#include "Database/Database.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

struct MigratingStore {
    Database& database;
    const std::filesystem::path& file;
    FileSystem& files;
};

// Does nothing when both models are the same. Fails without having changed anything when the store is of a newer
// version, or when the way can't be inferred.
Result<void> migrateStore(const MigratingStore& store, const ManagedObjectModel& from, const ManagedObjectModel& to);

Error storeIsTooNew(const std::filesystem::path& file);

}  // namespace qs
