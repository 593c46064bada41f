#include "Library/IndexLists.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "Library/IndexTables.h"

namespace qs::lists {

namespace {

constexpr int kLongestPage = 1000;
constexpr int kCountedBehind = 1000;  // rows behind a page that are still counted; a list's end is rarely looked for

struct Length {
    int rows = 0;
    bool hasMore = false;
};

// Lengths of mailboxes are kept; others are counted, which would take long to the end of a long list.
Length lengthOf(Database& index, const SqlSelection& selection, int upTo) {
    const auto kept = [&](const char* sql, const SqlValues& values) {
        return Length{static_cast<int>(index.integer(sql, values)), false};
    };
    if (selection.isEverything) return kept("SELECT sum(shown) FROM mailboxes", {});
    if (!selection.mailbox.empty())
        return kept("SELECT total FROM mailboxes WHERE number = ?", {mailboxNumber(selection.mailbox)});
    if (!selection.leadsOf.empty())
        return kept("SELECT conversations FROM mailboxes WHERE number = ?", {mailboxNumber(selection.leadsOf)});
    if (!selection.account.empty())
        return kept("SELECT sum(shown) FROM mailboxes WHERE account = ?", {selection.account});
    SqlValues values = selection.values;
    values.emplace_back(std::int64_t{upTo} + 1);
    const auto counted =
        static_cast<int>(index.integer("SELECT count(*) FROM (SELECT 1 FROM " + selection.tables + " WHERE " +
                                           selection.condition + selection.newestFirst() + " LIMIT ?)",
                                       values));
    return {std::min(counted, upTo), counted > upTo};
}

struct Walk {
    ListPlace from;
    bool isTowardsOlder = true;
};

// From the list's start, its end or the known row, whichever is nearest.
Walk nearestTo(int row, const Length& length, const ListPlace& known) {
    Walk nearest;
    int distance = row;
    if (known.key > 0 && std::abs(row - known.row) < distance) {
        nearest = {known, row >= known.row};
        distance = std::abs(row - known.row);
    }
    if (!length.hasMore && length.rows - 1 - row < distance) nearest = {{length.rows - 1, 0}, false};
    return nearest;
}

// The number of the row at that place; nothing beyond the end.
std::optional<std::int64_t> keyAt(Database& index, const SqlSelection& selection, int row, const Walk& walk) {
    SqlValues values = selection.values;
    // Those that lead conversations are told by their own table: no row needs to be looked at on the way.
    const std::string tables = selection.leadsOf.empty() ? selection.tables : "leading";
    std::string sql = "SELECT " + selection.key + " FROM " + tables + " WHERE " + selection.condition;
    if (walk.from.key > 0) {
        sql += " AND " + selection.key + (walk.isTowardsOlder ? " <= ?" : " >= ?");
        values.emplace_back(walk.from.key);
    }
    values.emplace_back(std::int64_t{std::abs(row - walk.from.row)});
    Query found = index.query(
        sql + (walk.isTowardsOlder ? selection.newestFirst() : selection.oldestFirst()) + " LIMIT 1 OFFSET ?", values);
    return found.step() ? std::optional(found.integer()) : std::nullopt;
}

std::vector<MessageSummary> rows(Query query) {
    std::vector<MessageSummary> found;
    while (query.step())
        found.push_back(tables::summaryFrom(query));
    return found;
}

}  // namespace

ListPage page(Database& index, const SqlSelection& selection, int offset, int limit, const ListPlace& known) {
    offset = std::max(offset, 0);
    limit = std::clamp(limit, 0, kLongestPage);
    ListPage page;
    const Length length = lengthOf(index, selection, offset + limit + kCountedBehind);
    page.total = length.rows;
    page.hasMore = length.hasMore;
    if (limit == 0 || offset >= length.rows) return page;
    SqlValues values = selection.values;
    std::string from;
    if (offset > 0) {
        const auto first = keyAt(index, selection, offset, nearestTo(offset, length, known));
        if (!first) return page;
        from = " AND " + selection.key + " <= ?";
        values.emplace_back(*first);
    }
    values.emplace_back(std::int64_t{limit});
    page.rows = rows(index.query("SELECT " + tables::summaryColumns() + " FROM " + selection.tables + " WHERE " +
                                     selection.condition + from + selection.newestFirst() + " LIMIT ?",
                                 values));
    return page;
}

std::vector<std::int64_t> ids(Database& index, const SqlSelection& selection, int limit) {
    SqlValues values = selection.values;
    values.emplace_back(std::int64_t{limit});
    Query row = index.query("SELECT m.id FROM " + selection.tables + " WHERE " + selection.condition +
                                selection.newestFirst() + " LIMIT ?",
                            values);
    std::vector<std::int64_t> found;
    while (row.step())
        found.push_back(row.integer());
    return found;
}

// Of copies the asked one itself, else that in its mailbox, else the one that is shown everywhere.
std::vector<MessageSummary> conversation(Database& index, std::int64_t id, int limit) {
    auto found = rows(index.query(
        "SELECT " + tables::summaryColumns() +
            " FROM messages m INDEXED BY by_conversation WHERE m.conversation = "
            "(SELECT conversation FROM messages WHERE id = ?1) AND m.copy != 2 AND (m.gmail = 0 OR m.seq = "
            "(SELECT c.seq FROM messages c INDEXED BY by_gmail WHERE c.gmail != 0 AND c.gmail = m.gmail AND "
            "c.account = m.account AND c.copy != 2 ORDER BY c.id != ?1, "
            "c.mailbox != (SELECT mailbox FROM messages WHERE id = ?1), c.copy LIMIT 1)) "
            "ORDER BY m.seq DESC LIMIT ?2",
        {id, std::int64_t{limit}}));
    std::reverse(found.begin(), found.end());
    return found;
}

}  // namespace qs::lists
