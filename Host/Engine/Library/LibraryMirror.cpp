// Taking up what happened to messages in another place, of which an account is a mirror.
#include <algorithm>
#include <cerrno>
#include <future>

#include "Foundation/FileSystem.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

Error noMailbox() {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there any more.", {}};
}

// The index may not know a file that is there: it is being made, or the file has only come.
Result<std::map<std::string, std::string>> filesNamed(const Maildir& maildir, const std::set<std::string>& names) {
    std::map<std::string, std::string> files;
    if (names.empty()) return files;
    const auto walked = maildir.forEachFile([&](const std::string& file) {
        std::string name(Maildir::nameOf(file).unique());
        if (names.contains(name)) files[std::move(name)] = file;
    });
    if (!walked && walked.error().code != ENOENT) return failed(walked);
    return files;
}

bool hasFile(const std::optional<IndexedFile>& row) { return row && !row->isOnlyListed(); }

}  // namespace

struct LibraryCore::Arrival {
    const MirroredArrival* message = nullptr;
    std::optional<MessageFacts> facts;  // nothing: it is listed, and the rest comes later
    std::uint64_t size = 0;
    LibraryMailboxRef box;
    MirrorWish wish;
    int flags = 0;
    std::string file;  // empty: there was one of that name
};

Result<void> LibraryCore::readLarge(Arrival& arrival) {
    const auto& file = arrival.message->file;
    if (file.empty()) return {};
    const auto info = files_.info(file);
    const auto start = info ? files_.readStart(file, kIndexedBytes) : Result<std::string>(failed(info));
    if (!start) return failed(start);
    arrival.size = info->size;
    arrival.facts = messageFacts(*start, info->size <= kIndexedBytes);
    return {};
}

void LibraryCore::readContents(std::vector<Arrival>& arrivals, tables::Text text) {
    const bool isLater = text == tables::Text::Later;
    // All that would be read of them now stands in their rows.
    std::set<const Arrival*> listed;
    if (isLater)
        listed = reading([&](Database& index) {
            std::set<const Arrival*> found;
            for (const Arrival& each : arrivals)
                if (const auto row = tables::findByName(index, each.box->indexed().number, each.message->name);
                    row && row->isOnlyListed())
                    found.insert(&each);
            return found;
        });
    for (Arrival& each : arrivals) {
        if (!each.message->file.empty()) continue;
        const std::string_view content = each.message->content;
        each.size = content.size();
        if (listed.contains(&each)) continue;
        each.facts = isLater ? headerFacts(content.substr(0, kIndexedBytes))
                             : messageFacts(content.substr(0, kIndexedBytes), content.size() <= kIndexedBytes);
    }
}

tables::Inserted LibraryCore::insert(Database& index, Arrival& arrival, tables::Text text) {
    const IndexedMailbox& mailbox = arrival.box->indexed();
    const std::string& name = arrival.message->name;
    if (!arrival.facts) {
        if (auto put = tables::putFile(index, mailbox, name, arrival.file, arrival.flags, arrival.size, nullptr))
            return *put;
        // Its row is gone, or in another mailbox.
        arrival.facts = headerFacts(arrival.message->content.substr(0, kIndexedBytes));
    }
    return tables::insert(index, mailbox, name, arrival.file, arrival.flags, arrival.message->received, arrival.size,
                          *arrival.facts, text);
}

Result<void> LibraryCore::deliverArrivals(std::vector<Arrival>& arrivals) {
    std::map<LibraryMailboxRef, std::vector<Arrival*>> byBox;
    for (Arrival& each : arrivals)
        byBox[each.box].push_back(&each);
    for (const auto& [box, group] : byBox) {
        auto keywords = MaildirKeywords::load(box->maildir().root(), files_);
        std::vector<Maildir::Delivery> deliveries;
        for (const Arrival* each : group) {
            auto letters = lettersWithFlags({}, unpackedFlags(each->flags), keywords);
            if (!letters) return failed(letters);
            deliveries.push_back({each->message->content, each->message->name, std::move(*letters),
                                  each->message->received, each->message->file});
        }
        auto files = box->maildir().deliverAll(deliveries);
        if (!files) return failed(files);
        for (std::size_t i = 0; i < group.size(); ++i)
            group[i]->file = std::move((*files)[i]);
    }
    return {};
}

Result<void> LibraryCore::followWish(Arrival& arrival, const MirrorWish& wish, Work& work) {
    if (wish == arrival.wish || arrival.file.empty()) return {};
    const auto before = arrival.box->maildir().pathOf(arrival.file);
    work.folders.insert(before.parent_path());
    if (wish.isRemoved) {
        arrival.file.clear();
        return files_.remove(before);
    }
    const auto target =
        wish.folder ? mailboxNamed(mailboxIdentifier(arrival.box->accountIdentifier(), *wish.folder)) : arrival.box;
    if (target) arrival.box = target;
    arrival.flags = (packedFlags(arrival.message->flags) | wish.flags.set) & ~wish.flags.clear;
    const auto letters = lettersWithFlags({}, unpackedFlags(arrival.flags), keywordsOf(work.keywords, *arrival.box));
    if (!letters) return failed(letters);
    arrival.file = "cur/" + MaildirName(arrival.message->name + ":2,").withLetters(*letters).text();
    const auto after = arrival.box->maildir().pathOf(arrival.file);
    work.folders.insert(after.parent_path());
    return before == after ? Result<void>() : files_.renameNew(before, after);
}

std::vector<LibraryCore::Arrival> LibraryCore::wantedArrivals(const LibraryMailboxRef& box,
                                                              const std::vector<MirroredArrival>& messages) {
    const std::string& account = box->accountIdentifier();
    auto wishes = wishesOf(account);
    std::vector<Arrival> arrivals;
    for (const MirroredArrival& each : messages) {
        const MirrorWish wish = wishes[each.name];
        if (wish.isRemoved) continue;
        const auto target = wish.folder ? mailboxNamed(mailboxIdentifier(account, *wish.folder)) : box;
        arrivals.push_back({.message = &each,
                            .facts = {},
                            .box = target ? target : box,
                            .wish = wish,
                            .flags = (packedFlags(each.flags) | wish.flags.set) & ~wish.flags.clear,
                            .file = {}});
    }
    // Rows go into the index of words by date, or each would be a write of its own.
    std::stable_sort(arrivals.begin(), arrivals.end(), [](const Arrival& one, const Arrival& other) {
        return one.message->received < other.message->received;
    });
    return arrivals;
}

Result<void> LibraryCore::addMirrored(Mailbox& mailbox, const std::vector<MirroredArrival>& messages, bool isNews) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    const std::string account = box->accountIdentifier();
    std::vector<Arrival> arrivals = wantedArrivals(box, messages);
    for (Arrival& each : arrivals)
        if (auto read = readLarge(each); !read) return read;
    const tables::Text text = textOf(arrivals.size());
    if (text == tables::Text::Later) arrivals_.disturb();
    // They are read apart while the disk takes them up.
    auto reading = std::async(std::launch::async, [&] { readContents(arrivals, text); });
    const auto delivered = deliverArrivals(arrivals);
    reading.get();
    if (!delivered) return delivered;
    Work work;
    std::vector<std::int64_t> arrived;
    Result<void> followed;
    try {
        auto index = index_->write();
        auto wishes = wishesOf(account);
        std::vector<IndexedFile> rows;
        for (Arrival& each : arrivals) {
            if (auto done = followWish(each, wishes[each.message->name], work); !done) followed = done;
            if (each.file.empty()) continue;
            work.changed[each.box->indexed().number] = each.box;
            const auto inserted = insert(*index, each, text);
            rows.push_back(inserted.row);
            if (inserted.isNew && !noteCopy(*box, each.message->name, isNews, work)) arrived.push_back(inserted.row.id);
            if (const auto message = inserted.isNew ? cache_->live(inserted.row.id) : nullptr) {
                message->setFlags(each.flags);
                message->forgetDetails();
                message->hasComeBack();
            }
        }
        numberRows(*index, account, rows, work);
        if (const auto synced = syncFolders(work); !synced) followed = synced;
        index.commit();
    } catch (const DatabaseFailure& failure) {
        // The files are there, and the next look at the folder takes them up.
        indexFailed(failure);
        for (const Arrival& each : arrivals)
            work.changed[each.box->indexed().number] = each.box;
        rescanLater(work);
        return {};
    }
    announce(work);
    for (const std::int64_t id : arrived)
        announcer_->messageArrived(id, !isNews);
    if (text == tables::Text::Later) readTextsSoon();
    return followed;
}

Result<void> LibraryCore::setMirroredFlags(Mailbox& mailbox, const std::map<std::string, FlagBits>& flags) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    return changeFiles([&](Database& index, Work& work) {
        Result<void> result;
        std::set<std::string> unknown;
        for (const auto& [name, bits] : flags)
            if (!hasFile(tables::findByName(index, box->indexed().number, name))) unknown.insert(name);
        const auto strays = filesNamed(box->maildir(), unknown);
        if (!strays) return Result<void>(failed(strays));
        for (const auto& [name, bits] : flags) {
            const auto changed = [&bits = bits](const MessageFlags& before) {
                return unpackedFlags((packedFlags(before) | bits.set) & ~bits.clear);
            };
            const auto stray = strays->find(name);
            std::optional<IndexedFile> row;
            if (stray == strays->end())
                row = tables::findByName(index, box->indexed().number, name);
            else
                inIndex(work, [&] { row = takeUpStray(index, *box, {name, stray->second}, work); });
            if (!row && stray != strays->end())
                row = {.mailbox = box->indexed().number, .name = name, .file = stray->second};
            if (!hasFile(row)) continue;
            auto done = changeFlags(index, *row, changed, work);
            if (!done && done.error().code == ENOENT && (row = foundAgain(index, *row, work)))
                done = changeFlags(index, *row, changed, work);
            if (!done && done.error().code != ENOENT) result = done;
        }
        return result;
    });
}

Result<void> LibraryCore::dropMirrored(Mailbox& mailbox, const std::vector<std::string>& names) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    return changeFiles([&](Database& index, Work& work) {
        Result<void> result;
        std::set<std::string> unknown;
        for (const std::string& name : names) {
            const auto row = tables::findByName(index, box->indexed().number, name);
            if (!hasFile(row)) unknown.insert(name);
            if (!row) continue;
            noteLeaving(index, *row, work);
            if (const auto done = eraseOne(index, *row, work); !done) result = done;
        }
        const auto strays = filesNamed(box->maildir(), unknown);
        if (!strays) return Result<void>(failed(strays));
        for (const auto& [name, file] : *strays) {
            const auto path = box->maildir().pathOf(file);
            inIndex(work, [&] { (void)fresh::take(index, box->indexed().number, name); });
            if (const auto done = files_.remove(path); !done && done.error().code != ENOENT) result = done;
            work.folders.insert(path.parent_path());
        }
        return result;
    });
}

}  // namespace qs
