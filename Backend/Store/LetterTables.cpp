#include "Store/LetterTables.h"

#include <algorithm>

#include "Store/SqlConnection.h"
#include "Store/Times.h"

namespace qs {

void addLetter(SqlConnection& database, const Letter& letter, Date now) {
    database.run("INSERT INTO letters (recipient, subject, body, created_at, next_attempt) VALUES (?1, ?2, ?3, ?4, ?4)",
                 {letter.recipient, letter.subject, letter.body, secondsOf(now)});
}

std::vector<Letter> claimLetters(SqlConnection& database, Date now, Date again, int most) {
    std::vector<Letter> letters;
    for (const SqlRow& row : database.run(
             "UPDATE letters SET next_attempt = ?2, attempts = attempts + 1 WHERE id IN (SELECT id FROM letters "
             "WHERE next_attempt <= ?1 ORDER BY id LIMIT CAST(?3 AS BIGINT)) AND next_attempt <= ?1 "
             "RETURNING id, recipient, subject, body, created_at, attempts",
             {secondsOf(now), secondsOf(again), static_cast<std::int64_t>(most)}))
        letters.push_back({row.integer(0), row.text(1), row.text(2), row.text(3), dateOf(row.integer(4)),
                           static_cast<int>(row.integer(5))});
    std::sort(letters.begin(), letters.end(), [](const Letter& a, const Letter& b) { return a.id < b.id; });
    return letters;
}

void setNextAttempt(SqlConnection& database, std::int64_t letter, Date next) {
    database.run("UPDATE letters SET next_attempt = ?2 WHERE id = ?1", {letter, secondsOf(next)});
}

void removeLetter(SqlConnection& database, std::int64_t letter) {
    database.run("DELETE FROM letters WHERE id = ?1", {letter});
}

WaitingLetters waitingLetters(SqlConnection& database) {
    const SqlRows rows = database.run("SELECT COUNT(*), MIN(next_attempt) FROM letters");
    return {rows.at(0).integer(0), dateOf(rows.at(0).integer(1))};
}

}  // namespace qs
