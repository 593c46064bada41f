// The library's host objects: accounts, mailboxes, messages and the store that is asked when messages came.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Library/IndexTables.h"
#include "Library/MessageCache.h"
#include "Mail/MailAccount.h"
#include "MailLibrary.h"
#include "Maildir/Maildir.h"

namespace qs {

class AccountBook;
class ClassRegistry;
class LibraryCore;

// Defines MCMessage with MFLibraryMessage, MFMailbox, MFMailAccount with MFIMAPAccount, MFLibrary and MFLibraryStore
// with MFLibraryIMAPStore, with the host's own code. Once more does nothing.
void defineLibraryClasses(ClassRegistry& registry);

class LibraryStoreObject final : public LibraryStore {
public:
    using LibraryStore::LibraryStore;
};

class LibraryAccount final : public MailAccount {
public:
    LibraryAccount(std::string identifier, bool isAtServer, std::shared_ptr<AccountBook> book,
                   std::weak_ptr<LibraryCore> library);

    std::string identifier() const override { return identifier_; }
    std::string displayName() const override;
    std::string fullName() const override;
    std::vector<std::string> emailAddresses() const override;
    std::vector<std::shared_ptr<Mailbox>> mailboxes() const override;
    std::shared_ptr<Mailbox> inboxMailbox() const override;
    std::shared_ptr<Mailbox> _outboxMailboxCreateIfNeeded(bool create) override;
    std::shared_ptr<Mailbox> draftsMailboxCreateIfNeeded(bool create) override;
    std::shared_ptr<Mailbox> mailboxOfKind(int kind, bool createIfNeeded) override;
    std::shared_ptr<Mailbox> mailboxForRelativePath(std::string_view path, bool isFilesystemPath, bool create) override;
    bool isGmailAccount() const override;
    std::shared_ptr<Mailbox> gmailLabelWithName(std::string_view name) override;
    void doRoutineCleanup() override;

private:
    std::shared_ptr<Mailbox> special(MailboxKind kind, bool create) const;

    const std::string identifier_;
    const std::shared_ptr<AccountBook> book_;
    const std::weak_ptr<LibraryCore> library_;
};

class LibraryMailbox final : public Mailbox {
public:
    // `folder` is the name of the subfolder without the "." in front; empty for the inbox. In a tree that other
    // programs keep it is the key of a TreeFolder.
    LibraryMailbox(const std::shared_ptr<LibraryAccount>& account, std::string folder, MailboxKind kind,
                   Maildir maildir, bool isOthers, std::weak_ptr<LibraryCore> library);

    std::string identifier() const override { return indexed_.identifier; }
    std::string displayName() const override;
    MailboxKind kind() const override { return kind_; }
    std::shared_ptr<MailAccount> account() const override { return account_.lock(); }
    int unreadCount() const override;
    int messageCount() const override;
    MessageCriterion criterion() const override;
    std::shared_ptr<LibraryStore> store() const override;
    bool isValidGmailLabel() const override;

    const std::string& accountIdentifier() const { return accountIdentifier_; }
    const std::string& folder() const { return folder_; }
    const Maildir& maildir() const { return maildir_; }
    // Its folder is not ours: nothing is written there but messages and their flags.
    bool isOthers() const { return isOthers_; }
    const IndexedMailbox& indexed() const { return indexed_; }

private:
    const std::weak_ptr<LibraryAccount> account_;
    const std::string accountIdentifier_, folder_;
    const MailboxKind kind_;
    const Maildir maildir_;
    const bool isOthers_;
    const std::weak_ptr<LibraryCore> library_;
    IndexedMailbox indexed_;
};

// The folder of a special mailbox ("" for the inbox) and back.
std::string folderOfKind(MailboxKind kind);
MailboxKind kindOfFolder(std::string_view folder);
std::string mailboxIdentifier(const std::string& account, const std::string& folder);

// A window onto a row. Holds what is asked for often; the texts are read when they are first wanted. When the message
// leaves its mailbox, the object goes on telling what was last known.
class LibraryMessage final : public Message {
public:
    LibraryMessage(std::int64_t id, std::shared_ptr<LibraryMailbox> mailbox, int packedFlags, Date received,
                   std::weak_ptr<LibraryCore> library, std::shared_ptr<MessageCache> cache);
    ~LibraryMessage() override;

    std::int64_t libraryID() const override { return id_; }
    std::shared_ptr<MessageHeaders> headers() const override;
    std::shared_ptr<MessageHeaders> headersIfAvailable() const override { return headers(); }
    std::string messageID() const override { return details().messageID; }
    std::string subject() const override { return details().subject; }
    std::string from() const override { return details().from; }
    std::string to() const override { return details().to; }
    int priority() const override { return details().priority; }
    Date dateReceived() const override { return received_; }
    Date dateSent() const override { return details().sent; }
    MessageFlags flags() const override;
    std::shared_ptr<Mailbox> mailbox() const override { return mailbox_; }
    std::shared_ptr<MailAccount> account() const override { return mailbox_->account(); }
    std::vector<std::shared_ptr<Mailbox>> gmailLabels() const override;
    std::uint64_t messageSize() const override { return details().size; }
    int numberOfAttachments() const override { return details().attachments; }
    std::string snippet() const override { return details().snippet; }

    std::optional<std::string> content() const;           // all of it; nothing when it is gone
    std::shared_ptr<const OpenFile> openContent() const;  // likewise

    // For the library.
    void setFlags(int packedFlags) { flags_ = packedFlags; }
    void keepDetails(MessageSummary details) const;
    bool hasDetails() const;
    void forgetDetails() const;                                     // they changed
    void setFileOutside(std::filesystem::path file);                // where a claim or a move has put it
    void keepLabels(std::vector<std::shared_ptr<Mailbox>> labels);  // it leaves the mailbox, and had these
    void hasComeBack();
    std::shared_ptr<LibraryCore> library() const { return library_.lock(); }

private:
    MessageSummary details() const;
    std::filesystem::path fileOutside() const;

    const std::int64_t id_;
    const std::shared_ptr<LibraryMailbox> mailbox_;
    std::atomic<int> flags_;
    const Date received_;
    const std::weak_ptr<LibraryCore> library_;
    const std::shared_ptr<MessageCache> cache_;
    mutable std::mutex lock_;
    mutable std::unique_ptr<const MessageSummary> details_;
    std::optional<std::vector<std::shared_ptr<Mailbox>>> leftWithLabels_;
    std::filesystem::path fileOutside_;
};

}  // namespace qs
