#include "Library/LibraryObjects.h"

#include <array>
#include <map>
#include <utility>

#include "AccountBook.h"
#include "Application/MailApp.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Library/IndexCopies.h"
#include "Library/LibraryBody.h"
#include "Library/LibraryCore.h"
#include "Library/SnippetManager.h"
#include "Mail/MessageColor.h"
#include "Maildir/FolderName.h"
#include "Maildir/MaildirTree.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// Headers longer than the first are read with the second limit; what lies beyond is not looked at.
constexpr std::size_t kUsualHeaders = 64 << 10, kLongestHeaders = 4 << 20;

constexpr std::array<std::pair<std::string_view, MailboxKind>, 6> kSpecialFolders{{{"Drafts", MailboxKind::Drafts},
                                                                                   {"Outbox", MailboxKind::Outbox},
                                                                                   {"Sent", MailboxKind::Sent},
                                                                                   {"Archive", MailboxKind::Archive},
                                                                                   {"Junk", MailboxKind::Junk},
                                                                                   {"Trash", MailboxKind::Trash}}};

// The host's part of an arrival.
void announceNewMail(HostObject& store, const MessageList& added, bool duringOpen) {
    Array ids;
    for (const MessageRef& message : added)
        ids.emplace_back(message->libraryID());
    NotificationCenter::defaultCenter().post(
        MailLibraryMessagesWereAddedNotification, &store,
        Dictionary{{"messages", std::move(ids)}, {"duringOpen", Value(duringOpen)}});
}

std::shared_ptr<Mailbox> mailboxIdentified(const std::string& identifier) {
    for (const auto& account : MailAccount::mailAccounts())
        for (auto& mailbox : account->mailboxes())
            if (mailbox->identifier() == identifier) return mailbox;
    const auto application = MailApp::shared();
    const auto inbox = application ? application->inbox() : nullptr;
    return inbox && inbox->identifier() == identifier ? inbox : nullptr;
}

void defineMailboxClass(ClassRegistry& registry) {
    Class& cls = registry.define("MFMailbox");
    const auto identifier = [](HostObject& self) { return static_cast<Mailbox&>(self).identifier(); };
    const auto find = [](Class&, const std::string& wanted) { return mailboxIdentified(wanted); };
    if (osMinor() >= 12) {
        cls.add(mailbox::persistentID, identifier);
        cls.addClassMethod(mailbox::mailboxWithPersistentID, find);
    } else {
        cls.add(mailbox::persistentIdentifier, identifier);
        cls.addClassMethod(mailbox::mailboxWithPersistentIdentifier, find);
    }
}

void defineMessageClass(ClassRegistry& registry) {
    constexpr const char* kColor = "color";
    Class& cls = registry.define("MCMessage");
    cls.add(message::setColor,
            [](HostObject& self, const std::optional<Color>& color) { self.setAssociatedObject(kColor, color); });
    cls.add(message::color, [](HostObject& self) { return self.associated<std::optional<Color>>(kColor); });
    registry.define("MFLibraryMessage", &cls);
}

void changeLabels(const GmailLabelChange& labels, const MessageList& messages) {
    const auto boxes = [](const std::vector<std::shared_ptr<Mailbox>>& mailboxes) {
        std::vector<std::shared_ptr<LibraryMailbox>> found;
        for (const auto& each : mailboxes)
            if (auto box = std::dynamic_pointer_cast<LibraryMailbox>(each)) found.push_back(std::move(box));
        return found;
    };
    std::map<std::shared_ptr<LibraryCore>, std::vector<std::int64_t>> ids;
    for (const MessageRef& each : messages) {
        const auto message = std::dynamic_pointer_cast<LibraryMessage>(each);
        if (const auto library = message ? message->library() : nullptr) ids[library].push_back(message->libraryID());
    }
    for (const auto& [library, list] : ids)
        if (const auto done =
                library->changeLabels(list, boxes(labels.MessageAddLabels), boxes(labels.MessageRemoveLabels));
            !done)
            logError("labels can't be changed: " + done.error().description);
}

void defineImapStoreClass(ClassRegistry& registry, Class& store) {
    Class& cls = registry.define("MFLibraryIMAPStore", &store);
    if (osMinor() >= 12) {
        cls.add(library_imap_store::async_setGmailLabelsFromDictionary,
                [](HostObject&, const GmailLabelChange& labels, const MessageList& messages) {
                    changeLabels(labels, messages);
                });
        return;
    }
    cls.add(library_imap_store::async_setGmailLabelsFromDictionaryUpdatingServer,
            [](HostObject&, const GmailLabelChange& labels, const MessageList& messages, bool updatingServer) {
                if (updatingServer) return changeLabels(labels, messages);
                // The server has done it already, so that it is taken over from there.
                for (const MessageRef& each : messages)
                    if (const auto account = each->account()) account->doRoutineCleanup();
            });
}

IndexedMailbox indexedFor(const std::string& account, const std::string& folder, MailboxKind kind) {
    const std::string identifier = mailboxIdentifier(account, folder);
    // As it is sorted among the mailboxes, and nobody else sees it.
    const std::string path = folder.starts_with('/') ? nameOfTreeFolder(folder) : pathFromFolderName(folder);
    const bool isOurs = kind == MailboxKind::Drafts || kind == MailboxKind::Outbox;
    return {.number = mailboxNumber(identifier),
            .account = accountNumber(account),
            .identifier = identifier,
            .place = copies::placeOf(kind, path),
            .showsSendDate = isOurs,
            .remembersAddresses = !isOurs && kind != MailboxKind::Junk && kind != MailboxKind::Trash};
}

bool hasWholeHeaders(std::string_view content) {
    return content.find("\n\n") != std::string_view::npos || content.find("\n\r\n") != std::string_view::npos;
}

}  // namespace

void defineLibraryClasses(ClassRegistry& registry) {
    registry.define("MFLibrary");
    registry.define("MFIMAPAccount", &registry.define("MFMailAccount"));
    defineMessageClass(registry);
    defineMailboxClass(registry);
    defineBodyClasses(registry);
    defineSnippetManager(registry);
    Class& store = registry.define("MFLibraryStore");
    const auto own = [](HostObject& self, const MessageList& added, const MessageList&, bool duringOpen, unsigned) {
        announceNewMail(self, added, duringOpen);
    };
    if (osMinor() == 10)
        store.add(library_store::messagesWereAddedConversations, own);
    else
        store.add(library_store::messagesWereAdded, own);
    defineImapStoreClass(registry, store);
}

std::string folderOfKind(MailboxKind kind) {
    for (const auto& [folder, each] : kSpecialFolders)
        if (each == kind) return std::string(folder);
    return {};
}

MailboxKind kindOfFolder(std::string_view folder) {
    if (folder.empty()) return MailboxKind::Inbox;
    for (const auto& [name, kind] : kSpecialFolders)
        if (name == folder) return kind;
    return MailboxKind::User;
}

std::string mailboxIdentifier(const std::string& account, const std::string& folder) {
    // A folder's own name, as it is unique and stays whatever language it is shown in.
    if (folder.empty()) return account + "/INBOX";
    return account + "/" + (folder == "INBOX" ? ".INBOX" : validUtf8(folder));
}

LibraryAccount::LibraryAccount(std::string identifier, bool isAtServer, std::shared_ptr<AccountBook> book,
                               std::weak_ptr<LibraryCore> library)
    : MailAccount(isAtServer ? "MFIMAPAccount" : "MFMailAccount"),
      identifier_(std::move(identifier)),
      book_(std::move(book)),
      library_(std::move(library)) {}

std::string LibraryAccount::displayName() const {
    const AccountRecord* record = book_->find(identifier_);
    return record && !record->displayName.empty() ? record->displayName : identifier_;
}

std::string LibraryAccount::fullName() const {
    const AccountRecord* record = book_->find(identifier_);
    return record ? record->fullName() : std::string();
}

std::vector<std::string> LibraryAccount::emailAddresses() const {
    const AccountRecord* record = book_->find(identifier_);
    return record ? record->addresses() : std::vector<std::string>();
}

std::vector<std::shared_ptr<Mailbox>> LibraryAccount::mailboxes() const {
    const auto library = library_.lock();
    return library ? library->mailboxes(identifier_) : std::vector<std::shared_ptr<Mailbox>>();
}

std::shared_ptr<Mailbox> LibraryAccount::special(MailboxKind kind, bool create) const {
    const auto library = library_.lock();
    return library ? library->mailbox(identifier_, kind, create) : nullptr;
}

std::shared_ptr<Mailbox> LibraryAccount::inboxMailbox() const { return special(MailboxKind::Inbox, true); }

std::shared_ptr<Mailbox> LibraryAccount::_outboxMailboxCreateIfNeeded(bool create) {
    return special(MailboxKind::Outbox, create);
}

std::shared_ptr<Mailbox> LibraryAccount::draftsMailboxCreateIfNeeded(bool create) {
    return special(MailboxKind::Drafts, create);
}

std::shared_ptr<Mailbox> LibraryAccount::mailboxOfKind(int kind, bool createIfNeeded) {
    if (kind < 0 || kind >= static_cast<int>(MailboxKind::User)) return nullptr;
    return special(static_cast<MailboxKind>(kind), createIfNeeded);
}

std::shared_ptr<Mailbox> LibraryAccount::mailboxForRelativePath(std::string_view path, bool, bool create) {
    for (auto& mailbox : mailboxes())
        if (mailbox->displayName() == path) return std::move(mailbox);
    const auto library = library_.lock();
    if (!create || !library) return nullptr;
    auto made = library->createMailbox(identifier_, path);
    if (made) return *made;
    logError("a mailbox can't be made: " + made.error().description);
    return nullptr;
}

bool LibraryAccount::isGmailAccount() const {
    const auto library = library_.lock();
    return library && library->isGmail(identifier_);
}

std::shared_ptr<Mailbox> LibraryAccount::gmailLabelWithName(std::string_view name) {
    for (auto& mailbox : mailboxes())
        if (mailbox->displayName() == name && mailbox->isValidGmailLabel()) return std::move(mailbox);
    return nullptr;
}

void LibraryAccount::doRoutineCleanup() {
    NotificationCenter::defaultCenter().post(MailAccountWantsCleanupNotification, this);
}

LibraryMailbox::LibraryMailbox(const std::shared_ptr<LibraryAccount>& account, std::string folder, MailboxKind kind,
                               Maildir maildir, bool isOthers, std::weak_ptr<LibraryCore> library)
    : Mailbox("MFMailbox"),
      account_(account),
      accountIdentifier_(account->identifier()),
      folder_(std::move(folder)),
      kind_(kind),
      maildir_(std::move(maildir)),
      isOthers_(isOthers),
      library_(std::move(library)),
      indexed_(indexedFor(accountIdentifier_, folder_, kind_)) {}

std::string LibraryMailbox::displayName() const {
    if (kind_ == MailboxKind::Inbox) return "Inbox";
    return folder_.starts_with('/') ? nameOfTreeFolder(folder_) : pathFromFolderName(folder_);
}

int LibraryMailbox::unreadCount() const {
    const auto library = library_.lock();
    return library ? library->counts(*this).unread : 0;
}

int LibraryMailbox::messageCount() const {
    const auto library = library_.lock();
    return library ? library->counts(*this).total : 0;
}

MessageCriterion LibraryMailbox::criterion() const {
    return MessageCriterion::with(MessageCriterion::Kind::InMailbox, identifier());
}

std::shared_ptr<LibraryStore> LibraryMailbox::store() const {
    const auto library = library_.lock();
    const auto account = account_.lock();
    if (!library) return nullptr;
    return account && account->isKindOf("MFIMAPAccount") ? library->imapStore() : library->store();
}

bool LibraryMailbox::isValidGmailLabel() const {
    const auto library = library_.lock();
    return library && library->isGmailLabel(*this);
}

LibraryMessage::LibraryMessage(std::int64_t id, std::shared_ptr<LibraryMailbox> mailbox, int packedFlags, Date received,
                               std::weak_ptr<LibraryCore> library, std::shared_ptr<MessageCache> cache)
    : Message("MFLibraryMessage"),
      id_(id),
      mailbox_(std::move(mailbox)),
      flags_(packedFlags),
      received_(received),
      library_(std::move(library)),
      cache_(std::move(cache)) {}

LibraryMessage::~LibraryMessage() { cache_->forget(id_); }

MessageFlags LibraryMessage::flags() const { return unpackedFlags(flags_); }

void LibraryMessage::keepDetails(MessageSummary details) const {
    const std::lock_guard hold(lock_);
    if (!details_) details_ = std::make_unique<const MessageSummary>(std::move(details));
}

bool LibraryMessage::hasDetails() const {
    const std::lock_guard hold(lock_);
    return details_ != nullptr;
}

void LibraryMessage::forgetDetails() const {
    const std::lock_guard hold(lock_);
    details_.reset();
}

void LibraryMessage::setFileOutside(std::filesystem::path file) {
    const std::lock_guard hold(lock_);
    fileOutside_ = std::move(file);
}

void LibraryMessage::keepLabels(std::vector<std::shared_ptr<Mailbox>> labels) {
    const std::lock_guard hold(lock_);
    leftWithLabels_ = std::move(labels);
}

void LibraryMessage::hasComeBack() {
    const std::lock_guard hold(lock_);
    leftWithLabels_.reset();
}

std::vector<std::shared_ptr<Mailbox>> LibraryMessage::gmailLabels() const {
    {
        const std::lock_guard hold(lock_);
        if (leftWithLabels_) return *leftWithLabels_;
    }
    const auto library = library_.lock();
    return library ? library->gmailLabels(id_, *mailbox_) : std::vector<std::shared_ptr<Mailbox>>();
}

MessageSummary LibraryMessage::details() const {
    {
        const std::lock_guard hold(lock_);
        if (details_) return *details_;
    }
    const auto library = library_.lock();
    if (auto found = library ? library->details(id_) : std::nullopt) keepDetails(std::move(*found));
    // Who takes the row away keeps them first.
    const std::lock_guard hold(lock_);
    return details_ ? *details_ : MessageSummary();
}

std::filesystem::path LibraryMessage::fileOutside() const {
    const std::lock_guard hold(lock_);
    return fileOutside_;
}

std::optional<std::string> LibraryMessage::content() const {
    const auto library = library_.lock();
    if (!library) return {};
    auto content = library->content(id_);
    if (const auto outside = fileOutside(); !content && !outside.empty()) content = library->files().read(outside);
    if (content) return std::move(*content);
    logDebug("a message can't be read: " + content.error().description);
    return {};
}

std::shared_ptr<const OpenFile> LibraryMessage::openContent() const {
    const auto library = library_.lock();
    if (!library) return nullptr;
    auto content = library->openContent(id_);
    if (const auto outside = fileOutside(); !content && !outside.empty()) content = library->files().open(outside);
    if (content) return std::move(*content);
    logDebug("a message can't be read: " + content.error().description);
    return nullptr;
}

std::shared_ptr<MessageHeaders> LibraryMessage::headers() const {
    const auto library = library_.lock();
    if (!library) return nullptr;
    const auto start = [&](std::size_t limit) {
        auto content = library->contentStart(id_, limit);
        const std::filesystem::path outside = content ? std::filesystem::path() : fileOutside();
        return outside.empty() ? content : library->files().readStart(outside, limit);
    };
    auto content = start(kUsualHeaders);
    if (content && content->size() == kUsualHeaders && !hasWholeHeaders(*content)) content = start(kLongestHeaders);
    if (content) return parseHeaders(*content);
    logDebug("the headers of a message can't be read: " + content.error().description);
    return nullptr;
}

}  // namespace qs
