// Mail that is to be sent, kept until a mail server has taken it. Called within a transaction; throws SqlFailure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

class SqlConnection;

struct Letter {
    std::int64_t id = 0;
    std::string recipient, subject, body;  // the body: plain text with line feeds
    Date created;
    int attempts = 0;  // begun so far
};

void addLetter(SqlConnection& database, const Letter& letter, Date now);
// The due ones, oldest first, at most `most`. Until `again` no other call gets them, from another program neither.
std::vector<Letter> claimLetters(SqlConnection& database, Date now, Date again, int most);
void setNextAttempt(SqlConnection& database, std::int64_t letter, Date next);
void removeLetter(SqlConnection& database, std::int64_t letter);
struct WaitingLetters {
    std::int64_t count = 0;
    Date nextAttempt;  // of the first; means nothing without one
};
WaitingLetters waitingLetters(SqlConnection& database);

}  // namespace qs
