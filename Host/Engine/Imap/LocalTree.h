// The Maildirs of one account as they lie on the disk, looked at when asked for and then remembered: the truth about
// what is here, whatever the library's index knows at the moment. For one thread, and for one piece of work.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Imap/SyncPlan.h"

namespace qs {

class FileSystem;
class OpenFile;

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
        std::shared_ptr<const OpenFile> content;
        Date modified;
    };
    Result<File> open(const std::string& folder, const std::string& name);

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

// As the server counts and sees it: CR LF line ends.
ByteSource withNetworkLineEnds(ByteSource content);
// Everything up to the first empty line.
Result<std::string> headerOf(const ByteSource& content);
// Tells messages apart of which only the header is known.
std::string headerDigest(std::string_view contentOrHeader);

}  // namespace qs
