// Mailboxes that the person makes, renames and removes. The folders are changed first, each by one rename, and the
// index follows.
#include <algorithm>

#include "AccountBook.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RemoveTree.h"
#include "Foundation/RunLoop.h"
#include "Library/LibraryCore.h"
#include "Maildir/FolderName.h"
#include "Text/Ascii.h"
#include "Text/CaseFolding.h"

namespace qs {

namespace {

// Of the folder of a removed mailbox until its files are gone: no "." in front, so nobody takes it for a mailbox.
constexpr std::string_view kRemovedPrefix = "removed-";
constexpr std::size_t kLongestFolder = 240;

tl::unexpected<Error> refusal(int code, std::string sentence) {
    return failure(std::string(kMailLibraryErrorDomain), code, std::move(sentence));
}

bool isBelow(const std::string& folder, const std::string& parent) { return folder.starts_with(parent + "."); }

}  // namespace

Result<std::string> LibraryCore::freeFolder(std::string_view account, std::string_view name,
                                            const std::vector<LibraryMailboxRef>& except) const {
    const auto folder = folderNameFromPath(trimmedAscii(name));
    if (!folder)
        return refusal(kMailLibraryInvalidName,
                       "A mailbox can't have this name. Please choose a shorter one without empty levels.");
    const std::string wanted = foldedCase(pathFromFolderName(*folder));
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        if (mailbox->accountIdentifier() == account && foldedCase(mailbox->displayName()) == wanted &&
            std::find(except.begin(), except.end(), mailbox) == except.end())
            return refusal(kMailLibraryExists, "There is a mailbox of this name already.");
    return *folder;
}

Result<std::shared_ptr<Mailbox>> LibraryCore::createMailbox(std::string_view account, std::string_view name) {
    const auto owner = accountNamed(account);
    if (!owner) return refusal(kMailLibraryNotFound, "There is no such account.");
    if (const auto* record = book_->find(account); record && record->kind == AccountKind::Maildir)
        return refusal(kMailLibraryInvalidName,
                       "The folders of this account are kept by another program. Please make the mailbox there.");
    const auto folder = freeFolder(account, name, {});
    if (!folder) return failed(folder);
    auto made = addMailbox(owner, *folder);
    if (!made) return failed(made);
    takeUp(*made);
    return std::shared_ptr<Mailbox>(*made);
}

bool LibraryCore::isChangeable(const Mailbox& mailbox) { return changeable(mailbox).has_value(); }

Result<LibraryMailboxRef> LibraryCore::changeable(const Mailbox& mailbox) const {
    auto box = mailboxNamed(mailbox.identifier());
    if (!box) return refusal(kMailLibraryNotFound, "The mailbox is not there any more.");
    if (box->isOthers())
        return refusal(kMailLibraryInvalidName,
                       "The folders of this account are kept by another program. Please change the mailbox there.");
    if (box->kind() != MailboxKind::User)
        return refusal(kMailLibraryInvalidName, stringWithFormat("“%@” is needed and stays.", {box->displayName()}));
    return box;
}

std::vector<LibraryMailboxRef> LibraryCore::withThoseBelow(const LibraryMailboxRef& mailbox) const {
    std::vector<LibraryMailboxRef> all;
    for (const LibraryMailboxRef& each : allMailboxes())
        if (each->accountIdentifier() == mailbox->accountIdentifier() &&
            (each == mailbox || isBelow(each->folder(), mailbox->folder())))
            all.push_back(each);
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a->folder() < b->folder(); });
    return all;
}

std::vector<std::shared_ptr<Mailbox>> LibraryCore::mailboxesBelow(const Mailbox& mailbox) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box || box->kind() != MailboxKind::User || box->isOthers()) return {};
    const auto all = withThoseBelow(box);
    return {all.begin() + 1, all.end()};
}

Result<std::vector<LibraryCore::Renaming>> LibraryCore::renamings(const LibraryMailboxRef& mailbox,
                                                                  const std::string& folder) const {
    if (isBelow(folder, mailbox->folder()))
        return refusal(kMailLibraryInvalidName, "A mailbox can't be put into itself.");
    const auto moved = withThoseBelow(mailbox);
    std::vector<Renaming> all;
    for (const LibraryMailboxRef& each : moved) {
        const std::string to = folder + each->folder().substr(mailbox->folder().size());
        if (kindOfFolder(to) != MailboxKind::User)
            return refusal(kMailLibraryInvalidName, "This name is kept for a mailbox that every account has.");
        if (to.size() > kLongestFolder)
            return refusal(kMailLibraryInvalidName,
                           "With this name, a mailbox below it would get one that is too long.");
        if (auto taken = freeFolder(mailbox->accountIdentifier(), pathFromFolderName(to), moved); !taken)
            return failed(taken);
        const bool isOfMoved =
            std::any_of(moved.begin(), moved.end(), [&](const auto& other) { return other->folder() == to; });
        if (!isOfMoved && files_.exists(folderOfAccount(mailbox->accountIdentifier()) / ("." + to)))
            return refusal(kMailLibraryExists, "There is a mailbox of this name already.");
        all.push_back({each, to});
    }
    return all;
}

// All or, as far as the disk lets it, none.
Result<void> LibraryCore::renameFolders(const std::string& account, const std::vector<Renaming>& renamings) {
    std::vector<MirrorKeeper::Renaming> told, back;
    for (const Renaming& each : renamings) {
        told.push_back({each.mailbox->folder(), each.folder});
        back.push_back({each.folder, each.mailbox->folder()});
    }
    const auto keeper = keeper_.load();
    if (keeper)
        if (auto noted = keeper->willRename(account, told); !noted) return noted;
    const auto root = folderOfAccount(account);
    Result<void> result;
    std::size_t done = 0;
    for (; result && done < told.size(); ++done)
        result = files_.rename(root / ("." + told[done].from), root / ("." + told[done].to));
    if (result) result = files_.syncFolder(root);
    if (result) return result;
    for (std::size_t i = 0; i < done; ++i)
        (void)files_.rename(root / ("." + told[i].to), root / ("." + told[i].from));
    if (keeper) (void)keeper->willRename(account, back);
    return result;
}

void LibraryCore::moveRows(const LibraryMailbox& from, const LibraryMailboxRef& to) {
    auto index = index_->write();
    tables::putMailbox(*index, to->indexed(), to->accountIdentifier());
    for (const IndexedFile& row : tables::filesOf(*index, from.indexed().number)) {
        keepDetails(*index, row.id);
        tables::setMailbox(*index, row, to->indexed(), row.name, row.file, row.flags);
    }
    tables::removeMailbox(*index, from.indexed().number);
    fresh::forget(*index, from.indexed().number);
    index.commit();
}

// Answers the new ones, in the same order.
std::vector<LibraryMailboxRef> LibraryCore::takeOver(const std::vector<Renaming>& renamings) {
    std::vector<LibraryMailboxRef> renamed;
    const auto self = std::static_pointer_cast<LibraryCore>(shared_from_this());
    for (const Renaming& each : renamings) {
        const auto account = accountNamed(each.mailbox->accountIdentifier());
        if (!account) continue;
        const Maildir maildir(folderOfAccount(account->identifier()) / ("." + each.folder), files_);
        renamed.push_back(
            std::make_shared<LibraryMailbox>(account, each.folder, kindOfFolder(each.folder), maildir, false, self));
    }
    {
        const std::lock_guard hold(tree_);
        for (const Renaming& each : renamings)
            mailboxes_.erase(each.mailbox->indexed().number);
        for (const LibraryMailboxRef& each : renamed)
            mailboxes_.emplace(each->indexed().number, each);
    }
    for (std::size_t i = 0; i < renamed.size(); ++i) {
        if (watch_) watch_->forget(renamings[i].mailbox->maildir().root());
        try {
            moveRows(*renamings[i].mailbox, renamed[i]);
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);  // the files count, and are read in
            rescanLater(Work{.changed = {{renamed[i]->indexed().number, renamed[i]}}});
        }
        announcer_->mailboxChanged(renamings[i].mailbox->identifier());
        announcer_->mailboxChanged(renamed[i]->identifier());
    }
    watch(renamed);
    std::vector<LibraryMailboxRef> unread;
    for (std::size_t i = 0; i < renamed.size(); ++i) {
        const std::int64_t before = renamings[i].mailbox->indexed().number;
        if (!reading_->isRead(before)) unread.push_back(renamed[i]);
        reading_->noteRead(before);
    }
    readSoon(unread);
    return renamed;
}

Result<std::shared_ptr<Mailbox>> LibraryCore::renameMailbox(const Mailbox& mailbox, std::string_view name) {
    const std::scoped_lock nobodyLooks(refreshing_, scanning_);
    const auto box = changeable(mailbox);
    if (!box) return failed(box);
    const auto folder = freeFolder((*box)->accountIdentifier(), name, {*box});
    if (!folder) return failed(folder);
    if (*folder == (*box)->folder()) return std::shared_ptr<Mailbox>(*box);
    const auto all = renamings(*box, *folder);
    if (!all) return failed(all);
    if (auto done = renameFolders((*box)->accountIdentifier(), *all); !done) return failed(done);
    const auto renamed = takeOver(*all);
    if (renamed.empty()) return refusal(kMailLibraryNotFound, "The account is not there any more.");
    return std::shared_ptr<Mailbox>(renamed.front());
}

// Of the messages by themselves, too: the server may still have some of them in other mailboxes.
Result<void> LibraryCore::tellOfRemoval(const std::vector<LibraryMailboxRef>& mailboxes) {
    const auto keeper = keeper_.load();
    if (!keeper) return {};
    std::vector<std::string> folders;
    std::vector<IndexedFile> rows;
    try {
        const auto index = index_->read();
        for (const LibraryMailboxRef& each : mailboxes) {
            folders.push_back(each->folder());
            auto files = tables::filesOf(*index, each->indexed().number);
            rows.insert(rows.end(), files.begin(), files.end());
            if (reading_->isRead(each->indexed().number)) continue;
            const auto listed = each->maildir().forEachFile([&](const std::string& file) {
                rows.push_back({.mailbox = each->indexed().number, .name = Maildir::nameOf(file).unique()});
            });
            if (!listed) return failed(listed);
        }
    } catch (const DatabaseFailure& failure) {
        return indexFailure(failure);
    }
    if (auto told = takeLabels(rows); !told) return told;
    if (auto told = tellKeeper(rows); !told) return told;
    return keeper->willRemoveFolders(mailboxes.front()->accountIdentifier(), folders);
}

Result<void> LibraryCore::removeMailbox(const Mailbox& mailbox) {
    const std::scoped_lock nobodyLooks(refreshing_, scanning_);
    const auto box = changeable(mailbox);
    if (!box) return failed(box);
    const std::string& account = (*box)->accountIdentifier();
    auto all = withThoseBelow(*box);
    std::reverse(all.begin(), all.end());  // cut off in between, those above are still there
    if (auto told = tellOfRemoval(all); !told) return told;
    const auto root = folderOfAccount(account);
    Result<void> result;
    for (const LibraryMailboxRef& each : all) {
        const auto aside = root / (std::string(kRemovedPrefix) + MaildirName::newUnique(RunLoop::main().now()));
        if (auto moved = files_.rename(each->maildir().root(), aside); !moved) {
            result = moved;
            break;
        }
        if (watch_) watch_->forget(each->maildir().root());
        try {
            forgetMailbox(each);
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);
            rescanLater(Work{.changed = {{each->indexed().number, each}}});
        }
    }
    if (auto synced = files_.syncFolder(root); !synced) result = synced;
    RunLoop::main().postToGlobalQueue([weak = weak_from_this(), root] {
        if (const auto self = std::dynamic_pointer_cast<LibraryCore>(weak.lock())) self->sweepRemovedFolders(root);
    });
    return result;
}

void LibraryCore::sweepRemovedFolders(const std::filesystem::path& account) {
    std::vector<std::filesystem::path> removed;
    (void)files_.forEachName(account, [&](const std::string& name, bool isFolder) {
        if (isFolder && name.starts_with(kRemovedPrefix)) removed.push_back(account / name);
    });
    for (const auto& folder : removed)
        (void)removeTree(files_, folder);  // what stays is taken up with the next one
}

}  // namespace qs
