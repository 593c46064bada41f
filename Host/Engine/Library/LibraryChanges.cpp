// What changes single messages: adding, flags, removing, claiming. Moving is in LibraryMove.cpp.
#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

constexpr TimeInterval kRescanDelay = 30;

Error libraryError(int code, std::string sentence) {
    return {std::string(kMailLibraryErrorDomain), code, std::move(sentence), {}};
}

Error notThere() { return libraryError(kMailLibraryNotFound, "The message is not there any more."); }

}  // namespace

MaildirKeywords& LibraryCore::keywordsOf(KeywordsByFolder& known, const LibraryMailbox& mailbox) {
    const std::int64_t number = mailbox.indexed().number;
    if (const auto found = known.find(number); found != known.end()) return found->second;
    return known.emplace(number, MaildirKeywords::load(mailbox.maildir().root(), files_, mailbox.isOthers()))
        .first->second;
}

void LibraryCore::keepDetails(Database& index, std::int64_t id) {
    const auto message = cache_->live(id);
    if (!message) return;
    Query row = index.query("SELECT " + tables::summaryColumns() + " FROM messages m WHERE m.id = ?", {id});
    if (row.step()) message->keepDetails(tables::summaryFrom(row));
}

std::optional<IndexedFile> LibraryCore::foundAgain(Database& index, IndexedFile row, Work& work) {
    const auto mailbox = mailboxNumbered(row.mailbox);
    const auto file = mailbox ? mailbox->maildir().find(row.name) : std::nullopt;
    if (!file) return {};
    const auto keywords = MaildirKeywords::load(mailbox->maildir().root(), files_);
    row.file = *file;
    row.flags = packedFlags(flagsFromLetters(Maildir::nameOf(*file).letters(), keywords));
    inIndex(work, [&] { tables::setFile(index, row.seq, row.file, row.flags); });
    return row;
}

Result<void> LibraryCore::syncFolders(const Work& work) {
    Result<void> result;
    for (const auto& folder : work.folders)
        if (const auto synced = files_.syncFolder(folder); !synced) result = synced;
    return result;
}

void LibraryCore::announce(const Work& work) {
    for (const auto& [number, mailbox] : work.changed)
        announcer_->mailboxChanged(mailbox->identifier());
    for (const std::int64_t id : work.takenUp)
        announcer_->messageArrived(id, true);
    for (const auto& [message, left] : work.relabelled)
        announcer_->labelsChanged(message.first, message.second, left);
}

void LibraryCore::rescanLater(const Work& work) {
    RunLoop* const loop = RunLoop::mainIfInstalled();
    if (!loop || work.changed.empty()) return;
    std::vector<std::string> identifiers;
    for (const auto& [number, mailbox] : work.changed)
        identifiers.push_back(mailbox->identifier());
    loop->afterOnGlobalQueue(kRescanDelay, [weak = weak_from_this(), identifiers] {
        const auto self = std::dynamic_pointer_cast<LibraryCore>(weak.lock());
        for (const std::string& identifier : identifiers)
            if (self) self->rescan(identifier);
    });
}

Result<MessageRef> LibraryCore::addFrom(Mailbox& mailbox, const ByteSource& content, MessageFlags flags, Date received,
                                        std::string_view uniqueName) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(libraryError(kMailLibraryNotFound, "The mailbox is not there any more."));
    if (!uniqueName.empty() && !MaildirName::isUsable(uniqueName))
        return failure(libraryError(kMailLibraryInvalidName, "A message can't be kept under this name."));
    const std::string name = uniqueName.empty() ? MaildirName::newUnique(received) : std::string(uniqueName);
    // One byte more tells whether that is all of it.
    const auto start = startOf(content, kIndexedBytes + 1);
    if (!start) return failed(start);
    const MessageFacts facts =
        messageFacts(std::string_view(*start).substr(0, kIndexedBytes), start->size() <= kIndexedBytes);
    std::uint64_t size = start->size();
    const ByteSource rest = [&](char* buffer, std::size_t room) {
        auto length = content(buffer, room);
        if (length) size += *length;
        return length;
    };
    const Maildir& maildir = box->maildir();
    std::string file;
    tables::Inserted inserted;
    bool wasThere = false;
    LibraryMessageRef message;
    try {
        auto index = index_->write();
        if (const auto known = tables::findByName(*index, box->indexed().number, name)) {
            inserted.row = *known;
        } else {
            KeywordsByFolder keywords;
            MaildirKeywords& words = keywordsOf(keywords, *box);
            const auto letters = lettersWithFlags({}, flags, words);
            if (!letters) return failed(letters);
            // As long as the mailbox has not been read in, it may lie there with other flags.
            const bool mayLieThere = !uniqueName.empty() && !reading_->isRead(box->indexed().number);
            auto existing = mayLieThere ? maildir.find(name) : std::nullopt;
            if (!existing) {
                auto delivered = maildir.deliverFrom(sourceOf(*start, rest), name, *letters, received);
                // There, but not in the index yet: another program brought it, or the index failed.
                if (!delivered && delivered.error().code == EEXIST) existing = maildir.find(name);
                if (!delivered && !existing) return failed(delivered);
                if (delivered) file = *delivered;
            }
            if (existing) {
                flags = flagsFromLetters(Maildir::nameOf(*existing).letters(), words);
                if (const auto info = files_.info(maildir.pathOf(*existing))) size = info->size;
            }
            wasThere = fresh::take(*index, box->indexed().number, name).value_or(false);
            inserted = tables::insert(*index, box->indexed(), name, existing.value_or(file), packedFlags(flags),
                                      received, size, facts);
        }
        // Made before others see the message, who may take it at once: it was kept all the same, and its object goes
        // on telling of it.
        message = messageIn(*index, inserted.row.id);
        index.commit();
    } catch (const DatabaseFailure& failure) {
        // Without its row nobody would see the message, so the caller is not told that it was kept.
        if (!file.empty()) (void)files_.remove(maildir.pathOf(file));
        return indexFailure(failure);
    }
    if (inserted.isNew) {
        announcer_->mailboxChanged(box->identifier());
        announcer_->messageArrived(inserted.row.id, wasThere);
    }
    if (!message) return failure(notThere());
    return message;
}

Result<void> LibraryCore::setFlagsOf(Database& index, const IndexedFile& row, const FlagChange& change, Work& work) {
    return changeFlags(
        index, row, [&](const MessageFlags& flags) { return flagsWithChange(flags, change); }, work);
}

Result<void> LibraryCore::changeFlags(Database& index, const IndexedFile& row,
                                      const std::function<MessageFlags(MessageFlags)>& changed, Work& work) {
    const auto box = mailboxNumbered(row.mailbox);
    if (!box) return failure(notThere());
    MaildirKeywords& names = keywordsOf(work.keywords, *box);
    const std::string before = Maildir::nameOf(row.file).letters();
    const MessageFlags flags = changed(flagsFromLetters(before, names));
    const auto letters = lettersWithFlags(before, flags, names);
    if (!letters) return failed(letters);
    const auto renamed = box->maildir().setLetters(row.file, *letters);
    if (!renamed) return failed(renamed);
    if (*renamed == row.file && row.flags == packedFlags(flags)) return {};
    work.folders.insert(box->maildir().pathOf(row.file).parent_path());
    work.folders.insert(box->maildir().pathOf(*renamed).parent_path());
    work.changed[row.mailbox] = box;
    inIndex(work, [&] { tables::setFile(index, row.seq, *renamed, packedFlags(flags)); });
    if (const auto message = cache_->live(row.id)) message->setFlags(packedFlags(flags));
    return {};
}

Result<void> LibraryCore::changeFiles(const std::function<Result<void>(Database& index, Work& work)>& change) {
    Result<void> result;
    Work work;
    try {
        auto index = index_->write();
        result = change(*index, work);
        if (const auto synced = syncFolders(work); !synced) result = synced;
        commit(index, work);
    } catch (const DatabaseFailure& failure) {
        // It does not even tell which files there are. What was done until then stands.
        (void)syncFolders(work);
        rescanLater(work);
        return indexFailure(failure);
    }
    announce(work);
    return result;
}

void LibraryCore::inIndex(Work& work, const std::function<void()>& change) {
    if (work.indexFailure) return;
    try {
        change();
    } catch (const DatabaseFailure& failure) {
        work.indexFailure = failure;
    }
}

void LibraryCore::commit(Index::Writing& index, Work& work) {
    inIndex(work, [&] { index.commit(); });
    if (!work.indexFailure) return;
    indexFailed(*work.indexFailure);
    rescanLater(work);
}

Result<void> LibraryCore::setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) {
    return changeFiles([&](Database& index, Work& work) {
        Result<void> result;
        std::vector<IndexedFile> rows, listed;
        for (const std::int64_t id : ids)
            if (auto row = tables::find(index, id))
                rows.push_back(std::move(*row));
            else
                result = failure(notThere());
        for (IndexedFile& each : withGmailCopies(index, std::move(rows))) {
            if (each.isOnlyListed()) {
                listed.push_back(std::move(each));
                continue;
            }
            auto done = setFlagsOf(index, each, change, work);
            if (!done && done.error().code == ENOENT) {
                const auto again = foundAgain(index, each, work);
                done = again ? setFlagsOf(index, *again, change, work) : failure(notThere());
            }
            if (!done) result = done;
        }
        if (const auto done = setFlagsOfListed(index, listed, change, work); !done) result = done;
        return result;
    });
}

Result<void> LibraryCore::eraseOne(Database& index, IndexedFile row, Work& work) {
    const auto box = mailboxNumbered(row.mailbox);
    if (!box) return {};
    keepDetails(index, row.id);
    noteCopiesOf(index, row, work);
    if (row.isOnlyListed()) {
        work.changed[row.mailbox] = box;
        inIndex(work, [&] { tables::remove(index, row.seq); });
        remember(row, 0);
        return {};
    }
    auto removed = files_.remove(box->maildir().pathOf(row.file));
    if (!removed && removed.error().code == ENOENT) {
        if (const auto again = foundAgain(index, row, work)) {
            row = *again;
            removed = files_.remove(box->maildir().pathOf(row.file));
        }
    }
    if (!removed && removed.error().code != ENOENT) return removed;
    work.folders.insert(box->maildir().pathOf(row.file).parent_path());
    work.changed[row.mailbox] = box;
    inIndex(work, [&] { tables::remove(index, row.seq); });
    remember(row, 0);
    return {};
}

Result<void> LibraryCore::tellKeeper(const std::vector<IndexedFile>& rows) {
    const auto keeper = keeper_.load();
    if (!keeper || rows.empty()) return {};
    std::vector<MirrorKeeper::Message> messages;
    for (const IndexedFile& row : rows)
        if (const auto box = mailboxNumbered(row.mailbox))
            messages.push_back({box->accountIdentifier(), box->folder(), row.name});
    return keeper->willRemove(messages);
}

void LibraryCore::setMirrorKeeper(std::shared_ptr<MirrorKeeper> keeper) { keeper_ = std::move(keeper); }

Result<void> LibraryCore::erase(const std::vector<std::int64_t>& ids) {
    return changeFiles([&](Database& index, Work& work) -> Result<void> {
        std::vector<IndexedFile> rows;
        for (const std::int64_t id : ids)
            if (auto row = tables::find(index, id)) rows.push_back(std::move(*row));  // else gone, as it was to be
        rows = withGmailCopies(index, std::move(rows));
        if (auto told = tellKeeper(rows); !told) return told;
        Result<void> result;
        for (const IndexedFile& row : rows)
            if (const auto done = eraseOne(index, row, work); !done) result = done;
        return result;
    });
}

Result<std::filesystem::path> LibraryCore::claim(std::int64_t id, const std::filesystem::path& intoFolder) {
    if (auto made = files_.makeFolder(intoFolder); !made) return failed(made);
    LibraryMailboxRef box;
    std::filesystem::path target;
    Work work;
    try {
        auto index = index_->write();
        auto row = tables::find(*index, id);
        box = row && !row->isOnlyListed() ? mailboxNumbered(row->mailbox) : nullptr;
        if (!box) return failure(notThere());
        keepDetails(*index, id);
        target = intoFolder / row->name;
        const auto tellPlace = [&](const std::filesystem::path& place) {
            if (const auto message = cache_->live(id)) message->setFileOutside(place);
        };
        // Told first: whoever reads the message meanwhile looks there when it has left the mailbox.
        tellPlace(target);
        auto moved = files_.renameNew(box->maildir().pathOf(row->file), target);
        if (!moved && moved.error().code == ENOENT && (row = foundAgain(*index, *row, work)))
            moved = files_.renameNew(box->maildir().pathOf(row->file), target);
        if (!moved) {
            tellPlace({});
            return moved.error().code == ENOENT ? failure(notThere()) : failed(moved);
        }
        // The new place first: cut off in between, a message may be in both, but never in none.
        auto synced = files_.syncFolder(intoFolder);
        if (synced) synced = box->maildir().syncFolderOf(row->file);
        if (!synced) {
            (void)files_.renameNew(target, box->maildir().pathOf(row->file));
            tellPlace({});
            return failed(synced);
        }
        tables::remove(*index, row->seq);
        index.commit();
    } catch (const DatabaseFailure& failure) {
        if (target.empty() || !files_.exists(target)) return indexFailure(failure);
        // The claim stands: it is the file that counts.
        indexFailed(failure);
        rescanLater(Work{.changed = {{box->indexed().number, box}}});
    }
    announcer_->mailboxChanged(box->identifier());
    return target;
}

}  // namespace qs
