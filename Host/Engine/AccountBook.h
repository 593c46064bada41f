// The accounts of the user, as kept in Accounts.plist. Main thread for changes; look-ups from every thread.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Smtp/SubmissionServer.h"

namespace qs {

class FileSystem;

struct AccountRecord {
    std::string identifier;  // letters, digits, "-"; also the folder's name
    std::string displayName, fullName;
    std::vector<std::string> addresses;  // bare; the first is the main one
    bool hasServer = false;              // false: delivers to other local accounts only
    SubmissionServer server;
};

class AccountBook {
public:
    // A missing file is an empty book. A damaged one is an error and stays untouched.
    static Result<std::shared_ptr<AccountBook>> open(std::filesystem::path file, FileSystem& files);
    std::vector<AccountRecord> all() const;
    // Null for none. Valid as long as the book, even when it changes: then it is the record as it was.
    const AccountRecord* find(std::string_view identifier) const;
    // The account that has this address, without regard to case.
    const AccountRecord* withAddress(std::string_view bareAddress) const;
    // Adds or replaces by identifier, durably. Fails on an identifier or address that cannot be one.
    Result<void> put(AccountRecord record);

private:
    AccountBook(std::filesystem::path file, FileSystem& files) : file_(std::move(file)), files_(&files) {}

    std::filesystem::path file_;
    FileSystem* files_;
    mutable std::mutex lock_;
    using RecordRef = std::shared_ptr<const AccountRecord>;
    std::vector<RecordRef> records_, replaced_;
};

}  // namespace qs
