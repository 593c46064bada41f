// Messages of which only the header is here yet: rows without a file. What is done to them is remembered by the
// mirror's keeper, since no file can tell it, and shown at once.
#include <algorithm>
#include <unordered_set>

#include "Library/LibraryCore.h"

namespace qs {

namespace {

// A colour is a number in three bits, which change together.
constexpr int kColour = 7 << 8;
constexpr std::size_t kChangedAtOnce = 1000;

FlagBits changeBetween(int before, int after) {
    int changed = before ^ after;
    if ((changed & kColour) != 0) changed |= kColour;
    return {.set = changed & after, .clear = changed & ~after};
}

int withWish(int flags, const MirrorWish& wish) { return (flags | wish.flags.set) & ~wish.flags.clear; }

Error notFetched(const char* sentence) {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFetched, sentence, {}};
}

}  // namespace

std::map<std::string, MirrorWish> LibraryCore::wishesOf(const std::string& account) {
    const auto keeper = keeper_.load();
    return keeper ? keeper->wishes(account) : std::map<std::string, MirrorWish>();
}

Result<void> LibraryCore::listMirrored(Mailbox& mailbox, const std::vector<MirroredListing>& messages) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box)
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound,
                       "The mailbox is not there any more.");
    if (textOf(messages.size()) == tables::Text::Later) arrivals_.disturb();
    std::vector<std::pair<const MirroredListing*, MessageFacts>> rows;
    for (const MirroredListing& each : messages)
        rows.emplace_back(&each, headerFacts(each.header));
    // Rows go into the index of words by date, or each would be a write of its own.
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& one, const auto& other) { return one.first->received < other.first->received; });
    Work work;
    try {
        auto index = index_->write();
        // Renamed or removed meanwhile: its rows have been taken along already.
        if (mailboxNumbered(box->indexed().number) != box)
            return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound,
                           "The mailbox is not there any more.");
        const auto wishes = wishesOf(box->accountIdentifier());
        std::vector<IndexedFile> inserted;
        for (const auto& [message, facts] : rows) {
            const auto found = wishes.find(message->name);
            const MirrorWish wish = found == wishes.end() ? MirrorWish() : found->second;
            if (wish.isRemoved) continue;
            auto place = wish.folder ? mailboxNamed(mailboxIdentifier(box->accountIdentifier(), *wish.folder)) : box;
            if (!place) place = box;
            inserted.push_back(tables::insert(*index, place->indexed(), message->name, {},
                                              withWish(packedFlags(message->flags), wish), message->received, 0, facts,
                                              textOf(rows.size()))
                                   .row);
            work.changed[place->indexed().number] = place;
        }
        numberRows(*index, box->accountIdentifier(), inserted, work);
        index.commit();
    } catch (const DatabaseFailure& failure) {
        return indexFailure(failure);
    }
    announce(work);
    return {};
}

std::map<std::string, MailLibrary::Listed> LibraryCore::listed(std::string_view account) {
    return reading([&](Database& index) {
        std::map<std::string, Listed> all;
        Query row = index.query("SELECT name, mailbox, flags FROM messages WHERE file = ''");
        while (row.step())
            if (const auto box = mailboxNumbered(row.integer(1)); box && box->accountIdentifier() == account)
                all[row.text(0)] = {box->folder(), static_cast<int>(row.integer(2))};
        return all;
    });
}

void LibraryCore::changeListed(std::string_view account, const std::map<std::string, int>& flags,
                               const std::vector<std::string>& gone) {
    const std::unordered_set<std::string> removed(gone.begin(), gone.end());
    const auto ids = reading([&](Database& index) {
        std::vector<std::int64_t> found;
        Query row = index.query("SELECT id, name FROM messages WHERE file = ''");
        while (row.step())
            if (const std::string name = row.text(1); flags.contains(name) || removed.contains(name))
                found.push_back(row.integer(0));
        return found;
    });
    for (std::size_t at = 0; at < ids.size(); at += kChangedAtOnce) {
        Work work;
        try {
            auto index = index_->write();  // in between, others may write
            const auto wishes = wishesOf(std::string(account));
            for (std::size_t i = at; i < std::min(at + kChangedAtOnce, ids.size()); ++i) {
                const auto row = tables::find(*index, ids[i]);
                const auto box = row && row->isOnlyListed() ? mailboxNumbered(row->mailbox) : nullptr;
                if (!box || box->accountIdentifier() != account) continue;
                const auto there = flags.find(row->name);
                const auto wish = wishes.find(row->name);
                const int wanted = there == flags.end()   ? row->flags
                                   : wish == wishes.end() ? there->second
                                                          : withWish(there->second, wish->second);
                const bool isGone = removed.contains(row->name);
                if (!isGone && wanted == row->flags) continue;
                work.changed[row->mailbox] = box;
                keepDetails(*index, row->id);
                if (isGone) {
                    noteCopiesOf(*index, *row, work);
                    tables::remove(*index, row->seq);
                    remember(*row, 0);
                } else {
                    tables::setFile(*index, row->seq, {}, wanted);
                }
                if (const auto message = cache_->live(row->id)) message->setFlags(wanted);
            }
            index.commit();
        } catch (const DatabaseFailure& failure) {
            return indexFailed(failure);
        }
        announce(work);
    }
}

Result<void> LibraryCore::setFlagsOfListed(Database& index, const std::vector<IndexedFile>& rows,
                                           const FlagChange& change, Work& work) {
    if (rows.empty()) return {};
    const auto after = [&](const IndexedFile& row) {
        return packedFlags(flagsWithChange(unpackedFlags(row.flags), change));
    };
    std::vector<std::pair<MirrorKeeper::Message, MirrorWish>> wishes;
    for (const IndexedFile& row : rows)
        if (const auto box = mailboxNumbered(row.mailbox))
            wishes.push_back({{box->accountIdentifier(), box->folder(), row.name},
                              {.flags = changeBetween(row.flags, after(row)), .folder = {}}});
    const auto keeper = keeper_.load();
    if (!keeper) return failure(notFetched("This message has not been fetched from the server yet."));
    if (auto told = keeper->willChange(wishes); !told) return told;
    for (const IndexedFile& row : rows) {
        inIndex(work, [&] { tables::setFile(index, row.seq, {}, after(row)); });
        if (const auto box = mailboxNumbered(row.mailbox)) work.changed[row.mailbox] = box;
        if (const auto message = cache_->live(row.id)) message->setFlags(after(row));
    }
    return {};
}

Result<std::int64_t> LibraryCore::moveListed(Database& index, const IndexedFile& row, const LibraryMailbox& to,
                                             Work& work) {
    const auto from = mailboxNumbered(row.mailbox);
    const auto keeper = keeper_.load();
    const bool isSameAccount = from && from->accountIdentifier() == to.accountIdentifier();
    if (from && keeper && !isSameAccount) keeper->isWanted(from->accountIdentifier(), row.name);
    if (!keeper || !isSameAccount || tables::findByName(index, to.indexed().number, row.name))
        return failure(notFetched("This message has not been fetched from the server yet. It can be moved there once "
                                  "it is here."));
    const MirrorKeeper::Message message{from->accountIdentifier(), from->folder(), row.name};
    if (auto told = keeper->willChange({{message, {.flags = {}, .folder = to.folder()}}}); !told) return failed(told);
    work.changed[row.mailbox] = from;
    keepDetails(index, row.id);
    noteCopiesOf(index, row, work);
    std::int64_t moved = row.id;
    inIndex(work, [&] { moved = tables::setMailbox(index, row, to.indexed(), row.name, {}, row.flags); });
    remember(row, moved);
    return moved;
}

void LibraryCore::sendFor(std::int64_t id) {
    const auto row = reading([&](Database& index) { return tables::find(index, id); });
    const auto box = row ? mailboxNumbered(row->mailbox) : nullptr;
    if (const auto keeper = keeper_.load(); keeper && box) keeper->isWanted(box->accountIdentifier(), row->name);
}

}  // namespace qs
