#include "Library/IndexCopies.h"

#include <algorithm>

#include "Library/ConversationLeads.h"
#include "Text/CaseFolding.h"

namespace qs::copies {

namespace {

// In front of a mailbox's place.
constexpr char kInbox = '0', kLabel = '1', kAllMail = '2', kOut = '9';

struct Row {
    std::int64_t seq = 0, mailbox = 0, conversation = 0;
    int copy = kShown;
    bool isOut = false;
};

std::vector<Row> sortedRows(Database& index, std::int64_t account, std::uint64_t message) {
    std::vector<Row> rows;
    Query row = index.query("SELECT m.seq, m.mailbox, m.conversation, m.copy, b.place FROM messages m INDEXED BY "
                            "by_gmail JOIN mailboxes b ON b.number = m.mailbox WHERE m.gmail != 0 AND m.gmail = ? AND "
                            "m.account = ? ORDER BY b.place, m.seq",
                            {static_cast<std::int64_t>(message), account});
    while (row.step())
        rows.push_back({row.integer(0), row.integer(1), row.integer(2), static_cast<int>(row.integer(3)),
                        row.text(4).starts_with(kOut)});
    return rows;
}

// What is on its way out is in no list, and so it leads no conversation.
void setCopy(Database& index, const Row& row, int copy) {
    if (row.copy == kOnItsWayOut) leads::take(index, row.conversation, row.mailbox, row.seq);
    const bool led = copy == kOnItsWayOut && leads::giveUp(index, row.mailbox, row.seq);
    index.run("UPDATE OR FAIL messages SET copy = ? WHERE seq = ?", {std::int64_t{copy}, row.seq});
    if (led) leads::passOn(index, row.conversation, row.mailbox);
}

}  // namespace

std::string placeOf(MailboxKind kind, std::string_view path) {
    char group = kLabel;
    switch (kind) {
    case MailboxKind::Inbox: group = kInbox; break;
    case MailboxKind::Archive: group = kAllMail; break;
    case MailboxKind::Junk:
    case MailboxKind::Trash: group = kOut; break;
    default: break;
    }
    std::string place{group, static_cast<char>('0' + static_cast<int>(kind))};
    place += foldedCase(std::string(path));
    std::ranges::replace(place, '/', '\x01');  // what is in a mailbox comes right behind it
    return place;
}

std::vector<IndexedFile> rowsOf(Database& index, std::int64_t account, std::uint64_t message) {
    std::vector<IndexedFile> rows;
    Query row = index.query("SELECT " + tables::fileColumns("m.") +
                                " FROM messages m INDEXED BY by_gmail JOIN mailboxes b ON b.number = m.mailbox WHERE "
                                "m.gmail != 0 AND m.gmail = ? AND m.account = ? ORDER BY m.copy, b.place, m.seq",
                            {static_cast<std::int64_t>(message), account});
    while (row.step())
        rows.push_back(tables::fileFrom(row));
    return rows;
}

std::vector<std::int64_t> setNumber(Database& index, std::int64_t account, std::int64_t seq, std::uint64_t message) {
    index.run("UPDATE OR FAIL messages SET gmail = ? WHERE seq = ?", {static_cast<std::int64_t>(message), seq});
    return settle(index, account, message);
}

std::vector<std::int64_t> settle(Database& index, std::int64_t account, std::uint64_t message) {
    std::vector<std::int64_t> changed;
    if (message == 0) return changed;
    const auto rows = sortedRows(index, account, message);
    const bool isOut = std::ranges::any_of(rows, &Row::isOut);
    bool isShown = false;
    for (const Row& row : rows) {
        const int copy = row.isOut != isOut ? kOnItsWayOut : isShown ? kOfShown : kShown;
        isShown = isShown || copy == kShown;
        if (copy == row.copy) continue;
        setCopy(index, row, copy);
        changed.push_back(row.mailbox);
    }
    return changed;
}

}  // namespace qs::copies
