// The mail program without its face: accounts, library, outbox and delivery, over one data folder.
//
//   <data>/Accounts.plist                        who sends and receives (AccountBook)
//   <data>/Mail/<account>/                       a Maildir++ tree: inbox, .Drafts .Outbox .Sent .Archive .Junk .Trash
//   <data>/Mail/<account>/.Outbox/claimed/       messages that a delivery has taken; not listed
//   <data>/Mail/<account>/sync.sqlite            what is known of the account's IMAP server, if it has one (MailSync)
//   <data>/Library.sqlite                        an index of headers and flags; derived, rebuilt when need be
//   <data>/Deliveries/<unique>.journal           stages of deliveries under way (DeliveryJournal)
//   <data>/Deliveries/<unique>.takeback          messages that are being taken back (TakeBackNotes)
//
// Made and destroyed on the main thread. Opening does not wait until the folders are read in (MailReading.h).
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class AccountBook;
class AccountTokens;
class DeliveryService;
class FileSystem;
class MailLibrary;
class MailSync;
class NetworkState;

struct EngineOptions {
    std::filesystem::path dataFolder;
    FileSystem* files = nullptr;  // null: the real one
    // Changes of other programs in the mail folders are taken up as they happen. Without, MailLibrary::rescan() does
    // it.
    bool watchFolders = true;
    std::shared_ptr<NetworkState> network = nullptr;  // whether servers can be reached; null: they always can
    bool watchesInboxes = true;                       // at IMAP servers, with a second connection for each account
    std::size_t imapPieceBytes = 4u << 20;            // larger messages come from IMAP servers in pieces of that size
};

class MailEngine {
public:
    // Registers the engine's host classes with ClassRegistry::current() (names by OS minor), opens everything and fills
    // HostInstances with library, library store, delivery queue and accounts. Deliveries do not start before
    // deliveries().start(): what a plug-in holds must not leave before the plug-in stands. Nor does mail come from
    // servers before sync().start().
    static Result<std::unique_ptr<MailEngine>> open(const EngineOptions& options);
    ~MailEngine();  // waits for a delivery under way

    AccountBook& accounts() { return *accounts_; }
    MailLibrary& library() { return *library_; }
    DeliveryService& deliveries() { return *deliveries_; }
    MailSync& sync() { return *sync_; }
    // As given in the options; files is never null.
    const std::filesystem::path& dataFolder() const { return dataFolder_; }
    FileSystem& files() { return *files_; }
    // Sentences for the person about what was found wrong and set right while opening.
    std::vector<std::string> takeNotices();

private:
    MailEngine();
    std::filesystem::path dataFolder_;
    FileSystem* files_ = nullptr;
    std::shared_ptr<AccountBook> accounts_;
    std::shared_ptr<MailLibrary> library_;
    std::shared_ptr<DeliveryService> deliveries_;
    std::shared_ptr<MailSync> sync_;
    std::unique_ptr<AccountTokens> tokens_;
};

}  // namespace qs
