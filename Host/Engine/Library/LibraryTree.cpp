// Accounts and mailboxes of the library.
#include <algorithm>
#include <cerrno>

#include "AccountBook.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Library/LibraryCore.h"
#include "Library/SearchText.h"
#include "Maildir/FolderName.h"
#include "Maildir/MaildirTree.h"
#include "Text/CaseFolding.h"

namespace qs {

std::filesystem::path LibraryCore::folderOfAccount(std::string_view account) const {
    return dataFolder_ / "Mail" / account;
}

std::vector<LibraryMailboxRef> LibraryCore::refreshTree() {
    const std::lock_guard oneAtATime(refreshing_);
    std::vector<std::shared_ptr<LibraryAccount>> accounts;
    for (const AccountRecord& record : book_->inUse()) {
        auto account = accountNamed(record.identifier);
        if (!account)
            account = std::make_shared<LibraryAccount>(record.identifier, record.kind == AccountKind::Imap, book_,
                                                       std::static_pointer_cast<LibraryCore>(shared_from_this()));
        accounts.push_back(std::move(account));
    }
    {
        const std::lock_guard hold(tree_);
        accounts_ = accounts;
        std::erase_if(mailboxes_, [&](const auto& entry) {
            return std::none_of(accounts.begin(), accounts.end(), [&](const auto& account) {
                return account->identifier() == entry.second->accountIdentifier();
            });
        });
    }
    std::vector<LibraryMailboxRef> found;
    for (const auto& account : accounts)
        refreshAccount(account, found);
    return found;
}

void LibraryCore::refreshAccount(const std::shared_ptr<LibraryAccount>& account,
                                 std::vector<LibraryMailboxRef>& found) {
    const AccountRecord* record = book_->find(account->identifier());
    if (record && record->kind == AccountKind::Maildir) addOthersTree(account, record->maildir, found);
    const bool hasOwnInbox = !record || record->kind != AccountKind::Maildir;
    const auto root = folderOfAccount(account->identifier());
    const bool isNewAccount = hasOwnInbox && !Maildir(root, files_).exists();
    std::vector<std::string> folders;
    if (hasOwnInbox) folders.push_back("");
    // A tree of our own making begins with the mailboxes that people look for. One that was there stays as it is.
    if (isNewAccount)
        for (const MailboxKind kind :
             {MailboxKind::Drafts, MailboxKind::Sent, MailboxKind::Archive, MailboxKind::Junk, MailboxKind::Trash})
            folders.push_back(folderOfKind(kind));
    const auto listed = files_.forEachName(root, [&](const std::string& name, bool isFolder) {
        if (!isFolder || name.size() < 2 || name.front() != '.') return;
        if (Maildir(root / name, files_).exists())
            folders.push_back(name.substr(1));
        else if (watch_)
            watch_->add(root / name);  // perhaps another program is about to make a mailbox of it
    });
    if (!listed && listed.error().code != ENOENT)
        addNotice("The mailboxes of “" + account->displayName() + "” can't be read: " + listed.error().description);
    for (const std::string& folder : folders) {
        if (mailboxNamed(mailboxIdentifier(account->identifier(), folder))) continue;
        if (auto mailbox = addMailbox(account, folder))
            found.push_back(*mailbox);
        else
            addNotice("The mailbox “" + (folder.empty() ? "Inbox" : pathFromFolderName(folder)) + "” of “" +
                      account->displayName() + "” can't be opened: " + mailbox.error().description);
    }
}

void LibraryCore::addOthersTree(const std::shared_ptr<LibraryAccount>& account, const std::filesystem::path& root,
                                std::vector<LibraryMailboxRef>& found) {
    const auto tree = foldersOfTree(root, files_);
    if (watch_) watch_->add(root);
    if (!tree)
        return addNotice("The mail folder of “" + account->displayName() +
                         "” can't be read: " + tree.error().description);
    for (const TreeFolder& each : *tree) {
        if (mailboxNamed(mailboxIdentifier(account->identifier(), each.key))) continue;
        auto mailbox = std::make_shared<LibraryMailbox>(account, each.key, each.kind, Maildir(each.path, files_), true,
                                                        std::static_pointer_cast<LibraryCore>(shared_from_this()));
        const std::lock_guard hold(tree_);
        found.push_back(mailboxes_.emplace(mailbox->indexed().number, std::move(mailbox)).first->second);
    }
}

Result<LibraryMailboxRef> LibraryCore::addMailbox(const std::shared_ptr<LibraryAccount>& account,
                                                  const std::string& folder) {
    const auto root = folderOfAccount(account->identifier());
    const Maildir maildir(folder.empty() ? root : root / ("." + folder), files_);
    if (auto made = maildir.create(!folder.empty()); !made) return failed(made);
    auto mailbox = std::make_shared<LibraryMailbox>(account, folder, kindOfFolder(folder), maildir, false,
                                                    std::static_pointer_cast<LibraryCore>(shared_from_this()));
    const std::lock_guard hold(tree_);
    return mailboxes_.emplace(mailbox->indexed().number, mailbox).first->second;
}

LibraryMailboxRef LibraryCore::mailboxNumbered(std::int64_t number) const {
    const std::lock_guard hold(tree_);
    const auto found = mailboxes_.find(number);
    return found == mailboxes_.end() ? nullptr : found->second;
}

LibraryMailboxRef LibraryCore::mailboxNamed(std::string_view identifier) const {
    return mailboxNumbered(mailboxNumber(identifier));
}

std::shared_ptr<LibraryAccount> LibraryCore::accountNamed(std::string_view identifier) const {
    const std::lock_guard hold(tree_);
    const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                    [&](const auto& account) { return account->identifier() == identifier; });
    return found == accounts_.end() ? nullptr : *found;
}

std::vector<LibraryMailboxRef> LibraryCore::allMailboxes() const {
    const std::lock_guard hold(tree_);
    std::vector<LibraryMailboxRef> all;
    for (const auto& [number, mailbox] : mailboxes_)
        all.push_back(mailbox);
    return all;
}

void LibraryCore::forgetMailbox(const LibraryMailboxRef& mailbox) {
    {
        const std::lock_guard hold(tree_);
        mailboxes_.erase(mailbox->indexed().number);
    }
    auto index = index_->write();
    tables::removeMailbox(*index, mailbox->indexed().number);
    fresh::forget(*index, mailbox->indexed().number);
    index.commit();
    reading_->noteRead(mailbox->indexed().number);
    announcer_->mailboxChanged(mailbox->identifier());
}

void LibraryCore::takeUp(const LibraryMailboxRef& made) {
    try {
        auto index = index_->write();
        tables::putMailbox(*index, made->indexed(), made->accountIdentifier());
        index.commit();
        watch({made});
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
    }
    announcer_->mailboxChanged(made->identifier());
}

void LibraryCore::putMailboxes(const std::vector<LibraryMailboxRef>& mailboxes) {
    auto index = index_->write();
    for (const LibraryMailboxRef& mailbox : mailboxes)
        tables::putMailbox(*index, mailbox->indexed(), mailbox->accountIdentifier());
    std::vector<std::int64_t> numbers;
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        numbers.push_back(mailbox->indexed().number);
    tables::keepOnlyMailboxes(*index, numbers);
    index.commit();
}

std::vector<std::shared_ptr<MailAccount>> LibraryCore::mailAccounts() {
    const std::lock_guard hold(tree_);
    return {accounts_.begin(), accounts_.end()};
}

std::shared_ptr<Mailbox> LibraryCore::mailboxWithIdentifier(std::string_view identifier) {
    return mailboxNamed(identifier);
}

std::shared_ptr<Mailbox> LibraryCore::mailbox(std::string_view account, MailboxKind kind, bool create) {
    const auto owner = accountNamed(account);
    if (!owner || kind == MailboxKind::User) return nullptr;
    const std::string folder = folderOfKind(kind);
    if (auto known = mailboxNamed(mailboxIdentifier(owner->identifier(), folder))) return known;
    // In a tree of others it may go by another name.
    for (const LibraryMailboxRef& each : allMailboxes())
        if (each->isOthers() && each->kind() == kind && each->accountIdentifier() == account) return each;
    if (!create) return nullptr;
    auto made = addMailbox(owner, folder);
    if (!made) {
        logError("cannot make the mailbox " + folder + " of " + owner->identifier() + ": " + made.error().description);
        return nullptr;
    }
    takeUp(*made);
    return *made;
}

std::vector<std::shared_ptr<Mailbox>> LibraryCore::mailboxes(std::string_view account) {
    std::vector<LibraryMailboxRef> all = allMailboxes();
    std::erase_if(all, [&](const auto& mailbox) { return mailbox->accountIdentifier() != account; });
    std::map<std::string, MailboxKind> special;
    for (const LibraryMailboxRef& mailbox : all)
        if (mailbox->kind() != MailboxKind::User) special[mailbox->displayName()] = mailbox->kind();
    std::vector<std::pair<std::string, LibraryMailboxRef>> named;
    for (const LibraryMailboxRef& mailbox : all) {
        const std::string name = mailbox->displayName();
        const auto top = special.find(name.substr(0, name.find('/')));
        const MailboxKind place = top == special.end() ? mailbox->kind() : top->second;
        // Level by level: those in a mailbox come right behind it.
        std::string key = foldedCase(name);
        std::replace(key.begin(), key.end(), '/', '\x01');
        named.emplace_back(static_cast<char>('0' + static_cast<int>(place)) + key, mailbox);
    }
    std::sort(named.begin(), named.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::shared_ptr<Mailbox>> sorted;
    for (auto& [key, mailbox] : named)
        sorted.push_back(std::move(mailbox));
    return sorted;
}

void LibraryCore::accountsDidChange() { treeChanged(); }

void LibraryCore::treeChanged() {
    const auto before = allMailboxes();
    const auto fresh = refreshTree();
    try {
        // Not while mailboxes are renamed: the rows of those are still to be moved.
        const std::lock_guard oneAtATime(refreshing_);
        putMailboxes(fresh);
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
    }
    watch(fresh);
    for (const LibraryMailboxRef& mailbox : before)
        if (!mailboxNumbered(mailbox->indexed().number))
            announcer_->mailboxChanged(mailbox->identifier());
        else if (!mailbox->maildir().exists())
            rescan(mailbox->identifier());  // finds that it is gone
    readSoon(fresh);
    for (const LibraryMailboxRef& mailbox : fresh)
        announcer_->mailboxChanged(mailbox->identifier());
}

}  // namespace qs
