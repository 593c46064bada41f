// Records that a rule deletes, not the person: each is first written whole to a file of its own, with the reason, and
// can be restored for 90 days.
//
//     if (auto kept = folder.keep(*note, "The service refused it.", now); kept) context.deleteObject(*note);
//
// Main thread, as it reads and makes objects.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Core/Store/ManagedObject.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

struct RecoverableRecord {
    std::string name;  // of its file; the key for what follows
    std::string entity, title, reason;
    Date deleted;
};

class RecoveryFolder {
public:
    static constexpr TimeInterval kKeptFor = 90 * 86400.0;

    // The folder is made when the first record comes.
    RecoveryFolder(std::filesystem::path folder, FileSystem& files);

    // The object with what would be deleted along with it, durable when this returns; the name of its file.
    Result<std::string> keep(const ManagedObject& object, std::string_view reason, Date now);
    // Newest first. A file that can't be read is left out, with a log line.
    std::vector<RecoverableRecord> list();
    // Makes the record anew in the context, with its links to objects that still exist; the caller saves, then calls
    // forget(). Fails when a record of the same identity is there already, or the model knows no such records.
    Result<ManagedObjectRef> restore(std::string_view name, ManagedObjectContext& context);
    Result<void> forget(std::string_view name);
    // Removes what is older than 90 days, and pieces of files that a crash left.
    void prune(Date now);

private:
    Result<Value> read(std::string_view name);

    std::filesystem::path folder_;
    FileSystem& files_;
};

}  // namespace qs
