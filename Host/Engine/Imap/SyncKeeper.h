// What no file can tell of mirrored accounts, noted with each account's state, and what the library asks of that.
// Shared with the library, which may outlive the synchronisation. Safe from every thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Imap/MirrorState.h"
#include "Library/GmailKeeper.h"
#include "MailLibrary.h"

namespace qs {

class AccountSync;

class SyncKeeper final : public MirrorKeeper, public GmailKeeper {
public:
    // Null: what is known of its server can't be read, so that nothing can be erased there.
    void put(const std::string& account, std::shared_ptr<MirrorState> state);
    void putSync(const std::string& account, std::weak_ptr<AccountSync> sync);
    void remove(const std::string& account);

    Result<void> willRemove(const std::vector<Message>& messages) override;
    Result<void> willChange(const std::vector<std::pair<Message, MirrorWish>>& changes) override;
    Result<void> willRename(const std::string& account, const std::vector<Renaming>& folders) override;
    Result<void> willRemoveFolders(const std::string& account, const std::vector<std::string>& folders) override;
    std::map<std::string, MirrorWish> wishes(const std::string& account) override;
    void isWanted(const std::string& account, const std::string& name) override;

    bool isGmail(const std::string& account) override;
    bool isLabel(const std::string& account, const std::string& folder) override;
    bool isAllMail(const std::string& account, const std::string& folder) override;
    std::vector<std::uint64_t> messagesNamed(const std::string& account,
                                             const std::vector<std::string>& names) override;
    bool isKept(const std::string& account, std::uint64_t message) override;
    std::vector<std::string> labels(const std::string& account, std::uint64_t message) override;
    Result<void> willLabel(const std::string& account, const std::vector<Order>& orders) override;

private:
    std::shared_ptr<MirrorState> stateOf(const std::string& account) const;
    bool isLost(const std::string& account) const;
    // Of one at Gmail; null for others.
    std::shared_ptr<MirrorState> gmailStateOf(const std::string& account) const;

    struct Mirror {
        std::shared_ptr<MirrorState> state;
        std::weak_ptr<AccountSync> sync;
    };
    mutable std::mutex lock_;
    std::map<std::string, Mirror> mirrors_;
};

}  // namespace qs
