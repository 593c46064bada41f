#include "Notes/NoteFiles.h"

#include <algorithm>
#include <set>

#include "Core/QSObjectStore.h"
#include "Core/Store/RecoveryFolder.h"
#include "Foundation/FileSystem.h"
#include "Text/FilePaths.h"

namespace qs {

namespace fs = std::filesystem;

namespace {

fs::path allFiles() { return objectStoreFile().parent_path() / "Note Attachments"; }

void removeFolder(const fs::path& folder) {
    auto& files = FileSystem::real();
    if (const auto content = files.list(folder))
        for (const FileInfo& file : *content)
            (void)files.remove(file.path);
    (void)files.remove(folder);  // one that is not empty stays for the next time
}

}  // namespace

Result<fs::path> writeNoteFile(std::string_view noteIdentifier, const std::string& fileName, std::string_view content) {
    auto& files = FileSystem::real();
    const fs::path folder = allFiles() / noteIdentifier;
    if (const auto made = files.makeFolder(folder); !made) return failed(made);
    const fs::path path = QSNextAvailableFilePath(folder / fs::path(fileName).filename(), files);
    if (const auto written = files.writeNew(path, content); !written) return failed(written);
    if (const auto synced = files.syncFolder(folder); !synced) return failed(synced);
    return path;
}

void removeNoteFiles(const std::vector<std::string>& paths) {
    std::set<fs::path> folders;
    for (const fs::path path : paths)
        if (path.parent_path().parent_path() == allFiles()) folders.insert(path.parent_path());
    std::ranges::for_each(folders, removeFolder);
}

void removeStrayNoteFiles(const std::vector<std::string>& needed, Date now) {
    std::set<fs::path> kept;
    for (const fs::path path : needed)
        kept.insert(path.parent_path());
    const auto folders = FileSystem::real().list(allFiles());
    if (!folders) return;
    for (const FileInfo& folder : *folders)
        if (folder.isFolder && !kept.contains(folder.path) && now - folder.modified > RecoveryFolder::kKeptFor)
            removeFolder(folder.path);
}

}  // namespace qs
