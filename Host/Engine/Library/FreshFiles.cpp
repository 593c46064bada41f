#include "Library/FreshFiles.h"

#include <algorithm>
#include <charconv>

#include "Text/Ascii.h"

namespace qs {

std::int64_t freshnessOf(const std::string& name) {
    const auto isDigit = [](char c) { return isAsciiDigit(c); };
    const char* const end = name.data() + name.size();
    std::int64_t number = 0;
    // A copy of ours has a word and "-" in front of the time.
    const auto afterWord = std::find_if_not(name.begin(), name.end(), isAsciiLetter);
    const bool hasWord = afterWord != name.begin() && afterWord != name.end() && *afterWord == '-';
    const auto time = std::from_chars(name.data() + (hasWord ? afterWord + 1 - name.begin() : 0), end, number);
    if (time.ec == std::errc() && (time.ptr == end || *time.ptr == '.' || *time.ptr == '_')) return number;
    const auto digits = std::find_if_not(name.rbegin(), name.rend(), isDigit).base();
    const auto last = std::from_chars(name.data() + (digits - name.begin()), end, number);
    return last.ec == std::errc() ? number : 0;
}

namespace fresh {

void prepare(Database& index) {
    index.runScript("CREATE TEMP TABLE IF NOT EXISTS found(name TEXT PRIMARY KEY, file TEXT NOT NULL, "
                    "place INTEGER NOT NULL) WITHOUT ROWID;"
                    "CREATE TEMP TABLE IF NOT EXISTS fresh(mailbox INTEGER NOT NULL, place INTEGER NOT NULL, "
                    "name TEXT NOT NULL, file TEXT NOT NULL, was_there INTEGER NOT NULL, "
                    "PRIMARY KEY(mailbox, place, name)) WITHOUT ROWID;");
}

bool addFound(Database& index, const std::string& name, const std::string& file) {
    index.run("INSERT OR IGNORE INTO found(name, file, place) VALUES(?, ?, ?)", {name, file, freshnessOf(name)});
    return index.changes() != 0;
}

void forgetFound(Database& index) { index.runScript("DELETE FROM found"); }

std::int64_t takeFound(Database& index, std::int64_t mailbox, bool wasThere) {
    index.run("DELETE FROM fresh WHERE mailbox = ? AND name NOT IN (SELECT name FROM found)", {mailbox});
    index.run("INSERT INTO fresh(mailbox, place, name, file, was_there) SELECT ?1, place, name, file, ?2 FROM found "
              "WHERE name NOT IN (SELECT name FROM messages WHERE mailbox = ?1 AND file != '') "
              "ON CONFLICT(mailbox, place, name) DO UPDATE SET file = excluded.file",
              {mailbox, std::int64_t{wasThere ? 1 : 0}});
    return index.integer("SELECT count(*) FROM fresh WHERE mailbox = ?", {mailbox});
}

std::vector<NewFile> newest(Database& index, std::int64_t mailbox, const std::string& last, std::size_t limit) {
    std::vector<NewFile> files;
    const std::string statement = std::string("SELECT name, file FROM fresh WHERE mailbox = ?1 ") +
                                  (last.empty() ? "" : "AND (place, name) < (?3, ?4) ") +
                                  "ORDER BY place DESC, name DESC LIMIT ?2";
    SqlValues values{mailbox, static_cast<std::int64_t>(limit)};
    if (!last.empty()) values.insert(values.end(), {freshnessOf(last), last});
    Query row = index.query(statement, values);
    while (row.step())
        files.push_back({row.text(0), row.text(1)});
    return files;
}

std::int64_t count(Database& index) { return index.integer("SELECT count(*) FROM fresh"); }

bool isEmpty(Database& index, std::int64_t mailbox) {
    return index.integer("SELECT EXISTS(SELECT 1 FROM fresh WHERE mailbox = ?)", {mailbox}) == 0;
}

std::optional<bool> take(Database& index, std::int64_t mailbox, const std::string& name) {
    const SqlValues key{mailbox, freshnessOf(name), name};
    std::optional<bool> wasThere;
    if (Query row = index.query("SELECT was_there FROM fresh WHERE mailbox = ? AND place = ? AND name = ?", key);
        row.step())
        wasThere = row.integer() != 0;
    if (wasThere) index.run("DELETE FROM fresh WHERE mailbox = ? AND place = ? AND name = ?", key);
    return wasThere;
}

void forget(Database& index, std::int64_t mailbox) { index.run("DELETE FROM fresh WHERE mailbox = ?", {mailbox}); }

}  // namespace fresh

}  // namespace qs
