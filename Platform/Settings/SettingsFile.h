// One settings suite on disk: <name>.plist with the values now, <name>.plist.1 and .2 with those of the two writes
// before. A damaged file is kept aside and the newest readable generation takes its place. Private to UserDefaults.cpp.
//
// Not safe from several threads. Blocks.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Foundation/FileSystem.h"
#include "Foundation/Value.h"

namespace qs {

class SettingsFile {
public:
    SettingsFile(FileSystem& files, std::filesystem::path file);

    // What the file holds; empty if there is none. Reads an earlier generation for a damaged one, and tells it in
    // damageReport().
    Dictionary open();
    // The values, if somebody else has changed the file since it was last read or written here. A file that somebody
    // removed, or that cannot be read, changes nothing; the latter is kept aside before it is overwritten.
    std::optional<Dictionary> changedFromOutside();
    // Whole and durable, or an error with the old content still there. Writes nothing if the file holds just this.
    Result<void> save(const Dictionary& values);

    // A sentence for the person about what open() found; empty if all was well.
    const std::string& damageReport() const { return damageReport_; }

private:
    struct Stamp {
        double modified = 0;
        std::uintmax_t size = 0;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };

    std::filesystem::path besides(std::string_view suffix) const;
    std::optional<Stamp> stamp();
    void removeLeftovers();
    Dictionary recover(std::string_view problem);
    Result<void> keepAside();
    void keepGeneration();

    FileSystem& files_;
    std::filesystem::path file_;
    std::string text_;            // what the file holds, as far as it was readable; becomes the next generation
    std::optional<Stamp> stamp_;  // of the file when last read or written here
    bool isDamaged_ = false;      // what lies there must be kept aside before the next write
    std::optional<std::string> damagedText_;  // its content, if it could be read at all
    std::string damageReport_;
};

}  // namespace qs
