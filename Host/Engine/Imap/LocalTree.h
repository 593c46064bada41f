// The Maildirs of one account as they lie on the disk, looked at when asked for and then remembered: the truth about
// what is here, whatever the library's index knows at the moment. For one thread, and for one piece of work.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Imap/SyncPlan.h"

namespace qs {

class FileSystem;

class LocalTree {
public:
    LocalTree(std::filesystem::path account, FileSystem& files) : account_(std::move(account)), files_(files) {}

    const std::vector<std::string>& folders();  // without the "." in front; "" is the inbox
    bool exists(const std::string& folder) const;
    // Empty when there is no such folder.
    Result<const MessagesHere*> messagesIn(const std::string& folder);
    // What was not there at the first look may have been renamed meanwhile: whatever is found now is added.
    Result<const MessagesHere*> lookAgain(const std::string& folder);
    Result<void> lookAgainAtAll();
    // The folders that hold a message of that name.
    Result<std::vector<std::string>> foldersWith(const std::string& name);
    // What is asked of the folder from now on is looked for anew.
    void forget(const std::string& folder);
    void forgetOthersThan(const std::string& folder);
    void forgetFolders() { folders_.clear(); }

    struct File {
        std::string content;
        Date modified;
    };
    Result<File> read(const std::string& folder, const std::string& name);

private:
    std::filesystem::path pathOf(const std::string& folder) const;
    Result<void> look(const std::string& folder);

    struct Looked {
        MessagesHere messages;
        std::map<std::string, std::string> files;  // by name
    };
    const std::filesystem::path account_;
    FileSystem& files_;
    std::vector<std::string> folders_;
    std::map<std::string, Looked> looked_;
};

// As the server counts and sees it: CR LF line ends. `headerDigest` is of everything before the first empty line, which
// tells messages apart of which only the header is known.
std::string withNetworkLineEnds(std::string_view content);
std::string headerDigest(std::string_view contentOrHeader);

}  // namespace qs
