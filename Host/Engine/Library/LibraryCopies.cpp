// Messages that stand in several mailboxes.
#include <algorithm>

#include "Library/GmailKeeper.h"
#include "Library/IndexCopies.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

constexpr std::size_t kMostGone = 20'000;
constexpr std::size_t kNumberedAtOnce = 1000;

}  // namespace

void LibraryCore::numberRows(Database& index, const std::string& account, const std::vector<IndexedFile>& rows,
                             Work& work) {
    if (rows.empty() || !isGmail(account)) return;
    std::vector<std::string> names;
    for (const IndexedFile& row : rows)
        names.push_back(row.name);
    const auto messages = gmail()->messagesNamed(account, names);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (messages[i] == 0 || messages[i] == rows[i].gmail) continue;
        for (const std::int64_t number : copies::setNumber(index, accountNumber(account), rows[i].seq, messages[i]))
            if (auto box = mailboxNumbered(number)) work.changed[number] = std::move(box);
    }
}

void LibraryCore::numbersAreKnown(Mailbox& mailbox, const std::vector<std::string>& names) {
    const auto box = mailboxNamed(mailbox.identifier());
    for (std::size_t at = 0; box && at < names.size(); at += kNumberedAtOnce)
        (void)changeFiles([&](Database& index, Work& work) -> Result<void> {  // in between, others may write
            std::vector<IndexedFile> rows;
            for (std::size_t i = at; i < std::min(at + kNumberedAtOnce, names.size()); ++i)
                if (auto row = tables::findByName(index, box->indexed().number, names[i]); row && row->gmail == 0)
                    rows.push_back(std::move(*row));
            numberRows(index, box->accountIdentifier(), rows, work);
            return {};
        });
}

void LibraryCore::noteCopiesOf(Database& index, const IndexedFile& row, Work& work) {
    const auto own = row.gmail == 0 ? nullptr : mailboxNumbered(row.mailbox);
    if (!own) return;
    for (const IndexedFile& copy : gmailCopies(index, own->accountIdentifier(), row.gmail))
        if (auto box = mailboxNumbered(copy.mailbox)) work.changed[copy.mailbox] = std::move(box);
}

void LibraryCore::remember(const IndexedFile& gone, std::int64_t moved) {
    const auto box = mailboxNumbered(gone.mailbox);
    if (!box || (moved == 0 && gone.gmail == 0)) return;
    const std::lock_guard hold(gone_);
    if (goneRows_.insert_or_assign(gone.id, Gone{moved, box->indexed().account, gone.gmail}).second)
        goneOrder_.push_back(gone.id);
    if (goneOrder_.size() <= kMostGone) return;
    goneRows_.erase(goneOrder_.front());
    goneOrder_.pop_front();
}

std::int64_t LibraryCore::shownRow(std::int64_t id) {
    std::set<std::int64_t> seen;  // it may have been moved to and fro
    while (seen.insert(id).second) {
        const auto row = reading([&](Database& index) { return tables::find(index, id); });
        Gone now;
        if (row) {
            const auto box = mailboxNumbered(row->mailbox);
            now = {id, box ? box->indexed().account : 0, row->gmail};
        } else {
            const std::lock_guard hold(gone_);
            if (const auto found = goneRows_.find(id); found != goneRows_.end()) now = found->second;
        }
        const auto copies =
            now.gmail == 0 ? std::vector<IndexedFile>()
                           : reading([&](Database& index) { return copies::rowsOf(index, now.account, now.gmail); });
        if (!copies.empty()) return copies.front().id;
        if (row || now.moved == 0) return row ? id : 0;
        id = now.moved;
    }
    return 0;
}

std::int64_t LibraryCore::rowIn(const Mailbox& mailbox, std::int64_t id) {
    const auto box = mailboxNamed(mailbox.identifier());
    const auto row = reading([&](Database& index) { return tables::find(index, id); });
    if (!box || !row) return 0;
    if (row->mailbox == box->indexed().number) return id;
    const auto copies =
        reading([&](Database& index) { return gmailCopies(index, box->accountIdentifier(), row->gmail); });
    const auto own = std::ranges::find(copies, box->indexed().number, &IndexedFile::mailbox);
    const auto from = mailboxNumbered(row->mailbox);
    const bool isThere = own != copies.end() && from && from->accountIdentifier() == box->accountIdentifier();
    return isThere && summary(own->id) ? own->id : 0;
}

}  // namespace qs
