#include "Accounts/AccountRemovals.h"

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "Accounts/AccountSecrets.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RemoveTree.h"
#include "Keychain/Keychain.h"
#include "Platform.h"

namespace qs {

namespace {

// Of the one file, whoever writes it.
std::mutex& fileLock() {
    static std::mutex lock;
    return lock;
}

// A name of one folder, never a way out of it.
bool isName(const std::string& identifier) {
    return !identifier.empty() && identifier != "." && identifier != ".." && identifier.find('/') == std::string::npos;
}

Result<void> secretsGone(const std::string& identifier, bool asksToUnlock) {
    auto gone = account_secrets::forget(identifier);
    if (gone || !asksToUnlock || keychainError(gone.error()) != KeychainError::Locked) return gone;
    const auto keychain = Platform::current().keychain;
    return keychain && keychain->unlock() ? account_secrets::forget(identifier) : gone;
}

}  // namespace

AccountRemovals::AccountRemovals(std::filesystem::path dataFolder, FileSystem& files)
    : dataFolder_(std::move(dataFolder)), files_(files) {}

std::vector<AccountRemoval> AccountRemovals::all() const {
    const auto content = files_.read(dataFolder_ / "RemovedAccounts.plist");
    if (!content) {
        if (content.error().code != ENOENT)
            logWarning("what is left of removed accounts can't be looked up: " + content.error().description);
        return {};
    }
    const auto list = parsePropertyList(*content);
    if (!list) {
        logWarning("the list of removed accounts is damaged: " + list.error().description);
        return {};
    }
    std::vector<AccountRemoval> removals;
    for (const Value& each : (*list)["Removed"].array())
        if (std::string identifier = each["Identifier"].stringValue(); isName(identifier))
            removals.push_back({std::move(identifier), each["DeletesMail"].boolValue()});
    return removals;
}

bool AccountRemovals::isUnderWay(std::string_view identifier) const {
    return std::ranges::count(all(), identifier, &AccountRemoval::identifier) > 0;
}

Result<void> AccountRemovals::note(const AccountRemoval& removal) {
    const std::lock_guard hold(fileLock());
    auto removals = all();
    std::erase_if(removals, [&](const AccountRemoval& each) { return each.identifier == removal.identifier; });
    removals.push_back(removal);
    return save(removals);
}

Result<void> AccountRemovals::settle(std::string_view identifier) {
    const std::lock_guard hold(fileLock());
    auto removals = all();
    if (std::erase_if(removals, [&](const AccountRemoval& each) { return each.identifier == identifier; }) == 0)
        return {};
    return save(removals);
}

void AccountRemovals::carryOut(const AccountRemoval& removal, bool asksToUnlock) {
    bool isDone = true;
    if (const auto gone = secretsGone(removal.identifier, asksToUnlock); !gone) {
        logWarning("the passwords of a removed account go at the next start: " + gone.error().description);
        isDone = false;
    }
    const auto folder = dataFolder_ / "Mail" / removal.identifier;
    if (removal.deletesMail)
        if (const auto gone = removeTree(files_, folder); !gone && gone.error().code != ENOENT) {
            logWarning("the mail of a removed account is not all deleted; the next start goes on with it: " +
                       gone.error().description);
            isDone = false;
        }
    if (!isDone) return;
    if (const auto settled = settle(removal.identifier); !settled)
        logWarning("a removed account is looked at again at the next start: " + settled.error().description);
}

Result<void> AccountRemovals::save(const std::vector<AccountRemoval>& removals) {
    Array list;
    for (const AccountRemoval& each : removals)
        list.push_back(Dictionary{{"Identifier", each.identifier}, {"DeletesMail", each.deletesMail}});
    return files_.replace(dataFolder_ / "RemovedAccounts.plist",
                          xmlPropertyList(Dictionary{{"Removed", std::move(list)}}));
}

}  // namespace qs
