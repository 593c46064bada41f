// Moving messages: within an account by renaming, to another account by copying, syncing and only then removing.
#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

Error notThere(const char* sentence) {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, sentence, {}};
}

Error someStayed(std::size_t failed, std::size_t all, const Error& first) {
    if (all == 1) return first;
    return {first.domain, first.code,
            stringWithFormat("%ld of %ld messages could not be moved and stay where they were. %@",
                             {static_cast<std::int64_t>(failed), static_cast<std::int64_t>(all), first.description}),
            first.userInfo};
}

}  // namespace

Result<std::string> LibraryCore::nameIn(Database& index, const LibraryMailbox& from, const IndexedFile& row,
                                        const LibraryMailbox& to, bool& isThere, Work& work) {
    isThere = false;
    const auto known = tables::findByName(index, to.indexed().number, row.name);
    auto file = known ? std::optional(known->file) : std::nullopt;
    if (file && !files_.exists(to.maildir().pathOf(*file))) file = to.maildir().find(row.name);
    if (!file) {
        // Removed by another program.
        if (known) inIndex(work, [&] { tables::remove(index, known->seq); });
        return row.name;
    }
    const auto mine = files_.open(from.maildir().pathOf(row.file));
    if (!mine) return failed(mine);
    const auto other = files_.open(to.maildir().pathOf(*file));
    // An earlier move was cut off between the copy and the removal.
    isThere = other && areSame(**mine, **other).value_or(false);
    return isThere ? row.name : MaildirName::newUnique(row.delivered);
}

Result<std::string> LibraryCore::copyAcross(const LibraryMailbox& from, const IndexedFile& row,
                                            const LibraryMailbox& to, const std::string& name,
                                            const std::string& letters) {
    const auto original = from.maildir().pathOf(row.file);
    auto content = files_.open(original);
    if (!content) return failed(content);
    auto copied = to.maildir().deliverFrom(sourceOf(std::move(*content)), name, letters, row.delivered);
    if (!copied) return copied;
    if (const auto removed = files_.remove(original); !removed && removed.error().code != ENOENT) {
        (void)files_.remove(to.maildir().pathOf(*copied));  // else it would be in both
        return failed(removed);
    }
    return copied;
}

Result<std::int64_t> LibraryCore::moveOne(Database& index, const IndexedFile& row, const LibraryMailbox& to,
                                          Work& work) {
    const auto from = mailboxNumbered(row.mailbox);
    if (!from) return failure(notThere("The message is not there any more."));
    if (row.isOnlyListed()) return moveListed(index, row, to, work);
    bool isThere = false;
    const auto name = nameIn(index, *from, row, to, isThere, work);
    if (!name) return failed(name);
    const bool leaves = from->accountIdentifier() != to.accountIdentifier();
    // At Gmail it leaves with all that shows it.
    const auto going = leaves ? withGmailCopies(index, {row}) : std::vector{row};
    // Under its name it does not appear in another mailbox of the account.
    if (isThere || *name != row.name || leaves)
        if (auto told = tellKeeper(going); !told) return failed(told);
    const auto original = from->maildir().pathOf(row.file);
    work.folders.insert(original.parent_path());
    work.changed[row.mailbox] = from;
    keepDetails(index, row.id);
    noteCopiesOf(index, row, work);
    const auto eraseCopies = [&]() -> Result<void> {
        for (std::size_t i = 1; i < going.size(); ++i)
            if (const auto erased = eraseOne(index, going[i], work); !erased) return erased;
        return {};
    };
    if (isThere) {
        if (const auto removed = files_.remove(original); !removed) return failed(removed);
        inIndex(work, [&] { tables::remove(index, row.seq); });
        if (const auto erased = eraseCopies(); !erased) return failed(erased);
        return tables::findByName(index, to.indexed().number, *name)->id;
    }
    const MaildirName before = Maildir::nameOf(row.file);
    const auto letters =
        lettersForOtherFolder(before.letters(), keywordsOf(work.keywords, *from), keywordsOf(work.keywords, to));
    if (!letters) return failed(letters);
    std::string file;
    if (from->accountIdentifier() == to.accountIdentifier()) {
        const std::string folder = letters->empty() && row.file.starts_with("new/") ? "new/" : "cur/";
        file = folder + MaildirName(*name + (folder == "cur/" ? ":2," : "")).withLetters(*letters).text();
        if (const auto moved = files_.renameNew(original, to.maildir().pathOf(file)); !moved) return failed(moved);
        work.folders.insert(to.maildir().pathOf(file).parent_path());
    } else {
        const auto copied = copyAcross(*from, row, to, *name, *letters);
        if (!copied) return failed(copied);
        file = *copied;
    }
    std::int64_t moved = row.id;
    inIndex(work, [&] { moved = tables::setMailbox(index, row, to.indexed(), *name, file, row.flags); });
    remember(row, moved);
    if (const auto erased = eraseCopies(); !erased)
        logError("a copy of a message that has left its account is still here: " + erased.error().description);
    return moved;
}

Result<void> LibraryCore::move(const std::vector<std::int64_t>& all, Mailbox& to) {
    const auto target = mailboxNamed(to.identifier());
    if (!target) return failure(notThere("The mailbox is not there any more."));
    const auto others = moveByLabels(all, target);
    if (!others) return failed(others);
    const std::vector<std::int64_t>& ids = *others;
    const std::int64_t number = target->indexed().number;
    Work work;
    std::map<std::int64_t, MessageRef> before;  // objects of the messages as they lie here
    for (const std::int64_t id : ids)
        before[id] = messageWithID(id);
    std::vector<std::pair<std::int64_t, MessageRef>> arrived;
    std::vector<Error> errors;
    Result<void> synced;
    try {
        auto index = index_->write();
        for (const std::int64_t id : ids) {
            auto row = tables::find(*index, id);
            Result<std::int64_t> moved = failure(notThere("The message is not there any more."));
            if (row && row->mailbox == number) continue;
            if (row) moved = moveOne(*index, *row, *target, work);
            if (row && !moved && moved.error().code == ENOENT && (row = foundAgain(*index, *row, work)))
                moved = moveOne(*index, *row, *target, work);
            if (moved)
                arrived.emplace_back(*moved, before[id]);
            else
                errors.push_back(moved.error());
        }
        if (!arrived.empty()) work.changed[number] = target;
        // The new place first: cut off in between, a message may be in both, but never in none.
        for (const char* folder : {"new", "cur"}) {
            const auto path = target->maildir().root() / folder;
            if (work.folders.erase(path) == 0) continue;
            if (const auto done = files_.syncFolder(path); !done) synced = done;
        }
        if (const auto done = syncFolders(work); !done) synced = done;
        commit(index, work);
    } catch (const DatabaseFailure& failure) {
        // It does not even tell which files there are. What was done until then stands.
        (void)syncFolders(work);
        work.changed[number] = target;
        rescanLater(work);
        return indexFailure(failure);
    }
    announce(work);
    if (work.indexFailure) arrived.clear();  // their rows are still to come
    for (auto& [id, left] : arrived) {
        if (const auto object = std::dynamic_pointer_cast<LibraryMessage>(left)) object->setFileOutside(file(id));
        announcer_->messageArrived(id, false, std::move(left));
    }
    if (!errors.empty()) return failure(someStayed(errors.size(), ids.size(), errors.front()));
    return synced;
}

}  // namespace qs
