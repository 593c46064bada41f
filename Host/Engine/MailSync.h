// The accounts whose mail lies at an IMAP server: their Maildir trees here are kept in step with it, in both
// directions, also after hours without a network. What is changed here counts at once; the server hears of it when it
// can be reached.
//
// Made, started and stopped on the main thread. Follows the account book when MailAccountsDidChangeNotification is
// posted.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Imap/AccountSync.h"

namespace qs {

class AccountBook;
class FileSystem;
class MailLibrary;
class NetworkState;

// Posted on the default centre, main thread, when a status changed; at most once in a turn of the run loop.
inline constexpr std::string_view MailSyncStatusDidChangeNotification = "MailSyncStatusDidChange";

class MailSync {
public:
    struct Options {
        std::filesystem::path dataFolder;
        std::shared_ptr<NetworkState> network;  // null: it is always there
        bool watchesInboxes = true;             // with a second connection for each account
        std::size_t pieceBytes = 4u << 20;      // larger messages come in pieces of that size
    };
    // From now on the library tells of what is erased; nothing is connected before start().
    static std::shared_ptr<MailSync> make(Options options, MailLibrary& library, AccountBook& accounts,
                                          FileSystem& files);
    virtual ~MailSync() = default;

    virtual void start() = 0;
    virtual void stop() = 0;  // waits for what is under way
    // The person asks. An empty account: all of them.
    virtual void syncNow(std::string_view account) = 0;
    // An account that was changed, switched off or removed is left in the background. `then` comes, on the main thread,
    // once nothing is done any more for any such account: only from then on may the library forget it and its mail go.
    virtual void afterLeaving(std::function<void()> then) = 0;
    virtual std::vector<SyncStatus> statuses() const = 0;  // any thread
    // Sentences for the person about what happened meanwhile. Any thread.
    virtual std::vector<std::string> takeNotices() = 0;
};

}  // namespace qs
