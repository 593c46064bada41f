#include "Accounts/MaildirPlace.h"

#include "Foundation/FileSystem.h"

namespace qs {

std::string faultOfMaildirTree(const std::filesystem::path& folder, FileSystem& files) {
    const auto isMaildir = [&](const std::filesystem::path& place) {
        const auto cur = files.info(place / "cur"), fresh = files.info(place / "new");
        return cur && cur->isFolder && fresh && fresh->isFolder;
    };
    const auto entries = files.list(folder);
    if (!entries) return "This folder can't be opened. " + entries.error().description;
    if (isMaildir(folder)) return {};
    for (const FileInfo& entry : *entries)
        if (entry.isFolder && isMaildir(entry.path)) return {};
    return "There is no Maildir in this folder: neither it nor a folder in it has “cur” and “new”.";
}

}  // namespace qs
