// Accounts that the person removed and of which something may be left: passwords in the keychain, mail that is to go.
// Noted in a file before an account goes, and no longer when nothing is left of it, so that a removal that a crash, the
// keychain or the disk cut off is taken up again at the next start. Safe from every thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;

struct AccountRemoval {
    std::string identifier;
    bool deletesMail = false;
};

class AccountRemovals {
public:
    AccountRemovals(std::filesystem::path dataFolder, FileSystem& files);
    std::vector<AccountRemoval> all() const;
    bool isUnderWay(std::string_view identifier) const;
    Result<void> note(const AccountRemoval& removal);  // durable when this returns
    Result<void> settle(std::string_view identifier);
    // Takes the secrets away, and the mail if it is to go; settled when both are gone. Blocking. `asksToUnlock`: the
    // person is there, and may be asked to unlock the keychain.
    void carryOut(const AccountRemoval& removal, bool asksToUnlock);

private:
    Result<void> save(const std::vector<AccountRemoval>& removals);
    std::filesystem::path dataFolder_;
    FileSystem& files_;
};

}  // namespace qs
