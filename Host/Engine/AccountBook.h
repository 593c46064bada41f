// The accounts of the user, as kept in Accounts.plist. Main thread for changes; look-ups from every thread.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "AccountRecord.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

class AccountBook {
public:
    // A missing file is an empty book. A damaged one is an error and stays untouched.
    static Result<std::shared_ptr<AccountBook>> open(std::filesystem::path file, FileSystem& files);
    std::vector<AccountRecord> all() const;
    std::vector<AccountRecord> inUse() const;  // those that are enabled
    // Null for none. Valid as long as the book, even when it changes: then it is the record as it was.
    const AccountRecord* find(std::string_view identifier) const;
    // The account in use that has this address, without regard to case.
    const AccountRecord* withAddress(std::string_view bareAddress) const;
    // Adds or replaces by identifier, durably. Fails on what can be no account, with a sentence for the person.
    Result<void> put(AccountRecord record);
    // Durably. Only the entry goes: mail and passwords are the caller's business. One that is not there is a success.
    Result<void> remove(std::string_view identifier);

private:
    using RecordRef = std::shared_ptr<const AccountRecord>;

    AccountBook(std::filesystem::path file, FileSystem& files) : file_(std::move(file)), files_(&files) {}
    Result<void> save(std::vector<RecordRef> records);

    std::filesystem::path file_;
    FileSystem* files_;
    mutable std::mutex lock_;
    std::vector<RecordRef> records_, replaced_;
};

}  // namespace qs
