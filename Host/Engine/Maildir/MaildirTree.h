// A Maildir tree that other programs keep: which folders it has, in either layout. Only looks, never writes.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Mail/Mailbox.h"

namespace qs {

class FileSystem;

struct TreeFolder {
    // "" for the inbox; "/.Lists.kernel" for a folder of Maildir++; "/Lists/kernel" for folders within folders. No name
    // of a folder of ours begins like that.
    std::string key;
    std::filesystem::path path;
    MailboxKind kind = MailboxKind::User;  // of several of one kind, the first by name has it
};

// The inbox is the root, if that is a Maildir, else a folder "INBOX" in any case. Bounded in depth and number.
Result<std::vector<TreeFolder>> foldersOfTree(const std::filesystem::path& root, FileSystem& files);
// As people read it: "Lists/kernel".
std::string nameOfTreeFolder(std::string_view key);

}  // namespace qs
