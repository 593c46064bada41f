#include "Maildir/MaildirTree.h"

#include <algorithm>
#include <set>

#include "Foundation/FileSystem.h"
#include "Maildir/FolderName.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr int kDeepest = 8;
constexpr std::size_t kMostFolders = 5000;

struct UsualName {
    std::string_view name;  // in small letters
    MailboxKind kind;
};
constexpr UsualName kUsualNames[] = {{"drafts", MailboxKind::Drafts},       {"draft", MailboxKind::Drafts},
                                     {"sent", MailboxKind::Sent},           {"sent messages", MailboxKind::Sent},
                                     {"sent items", MailboxKind::Sent},     {"sent-mail", MailboxKind::Sent},
                                     {"trash", MailboxKind::Trash},         {"deleted messages", MailboxKind::Trash},
                                     {"deleted items", MailboxKind::Trash}, {"bin", MailboxKind::Trash},
                                     {"junk", MailboxKind::Junk},           {"spam", MailboxKind::Junk},
                                     {"junk e-mail", MailboxKind::Junk},    {"archive", MailboxKind::Archive},
                                     {"archives", MailboxKind::Archive}};

// A mailbox "Sent" below another one is somebody's own, except below the inbox or a provider's root.
MailboxKind usualKind(std::string_view name) {
    std::string lowered = asciiLowered(name);
    for (const std::string_view parent : {"inbox/", "[gmail]/"})
        if (lowered.starts_with(parent)) lowered.erase(0, parent.size());
    const auto found = std::ranges::find(kUsualNames, lowered, &UsualName::name);
    return found == std::end(kUsualNames) ? MailboxKind::User : found->kind;
}

class Walk {
public:
    Walk(FileSystem& files, std::vector<TreeFolder>& found) : files_(files), found_(found) {}

    bool isMaildir(const std::filesystem::path& folder) const {
        for (const char* part : {"cur", "new"}) {
            const auto info = files_.info(folder / part);
            if (!info || !info->isFolder) return false;
        }
        return true;
    }

    Result<void> into(const std::filesystem::path& folder, const std::string& key, int depth) {
        std::vector<std::string> names;
        auto listed = files_.forEachName(folder, [&](const std::string& name, bool isFolder) {
            if (isFolder && name != "cur" && name != "new" && name != "tmp" && name.size() > 1) names.push_back(name);
        });
        if (!listed) return listed;
        std::ranges::sort(names);
        for (const std::string& name : names) {
            if (found_.size() >= kMostFolders) break;
            const auto path = folder / name;
            std::string itsKey = key + "/" + name;
            if (isMaildir(path)) found_.push_back({itsKey, path});
            // A folder that can't be opened is left out, the others are shown.
            if (name.front() != '.' && depth < kDeepest) (void)into(path, itsKey, depth + 1);
        }
        return {};
    }

private:
    FileSystem& files_;
    std::vector<TreeFolder>& found_;
};

std::string nameOfLevel(std::string_view level) {
    if (level.starts_with('.')) return pathFromFolderName(level.substr(1));
    // The same coding is used in plain folders, where a dot is a dot.
    return level.find('.') == std::string_view::npos ? pathFromFolderName(level) : validUtf8(level);
}

}  // namespace

Result<std::vector<TreeFolder>> foldersOfTree(const std::filesystem::path& root, FileSystem& files) {
    std::vector<TreeFolder> found;
    Walk walk(files, found);
    if (auto walked = walk.into(root, {}, 0); !walked) return failed(walked);
    if (walk.isMaildir(root)) {
        found.insert(found.begin(), {.key = {}, .path = root, .kind = MailboxKind::Inbox});
    } else {
        const auto inbox =
            std::ranges::find_if(found, [](const TreeFolder& each) { return equalsIgnoringCase(each.key, "/inbox"); });
        if (inbox != found.end()) {
            inbox->key.clear();
            inbox->kind = MailboxKind::Inbox;
        }
    }
    std::set<MailboxKind> given;
    for (TreeFolder& each : found) {
        if (each.kind == MailboxKind::Inbox) continue;
        const MailboxKind kind = usualKind(nameOfTreeFolder(each.key));
        if (kind != MailboxKind::User && given.insert(kind).second) each.kind = kind;
    }
    return found;
}

std::string nameOfTreeFolder(std::string_view key) {
    std::string name;
    while (!key.empty()) {
        key.remove_prefix(1);  // the slash
        const auto end = std::min(key.find('/'), key.size());
        name += (name.empty() ? "" : "/") + nameOfLevel(key.substr(0, end));
        key.remove_prefix(end);
    }
    return name;
}

}  // namespace qs
