// Turns what is looked for into SQL over the index. A statement is made of a selection's parts:
//
//   SELECT <columns of m> FROM <tables> WHERE <condition> ... <newestFirst>
//
// No listing needs a sort or a look at rows that it does not show: a mailbox, a range of dates, words, and the few
// messages that are unread, flagged or carry files are each reached by an index in the order of the list.
//
// Of messages at Gmail, which stand in several mailboxes (IndexCopies.h), a list of one mailbox has its own row, and
// any other list has one. "In that mailbox" then means the message, wherever its row is. Whoever looks for a message's
// id gets the rows of all mailboxes.
#pragma once

#include <string>
#include <string_view>

#include "Database/Database.h"
#include "Mail/MessageCriterion.h"

namespace qs {

struct SqlSelection {
    std::string tables;     // in which the table of messages is called m
    std::string condition;  // "1" for every message
    SqlValues values;
    std::string key;      // the row's number, as the fastest table knows it
    std::string mailbox;  // the identifier when the criterion selects one mailbox and nothing else
    std::string account;  // likewise, one account
    std::string leadsOf;  // likewise, of one mailbox those that lead a conversation
    bool isEverything = false;

    std::string newestFirst() const { return " ORDER BY " + key + " DESC"; }
    std::string oldestFirst() const { return " ORDER BY " + key; }
};

// Criteria nested deeper than is sensible, or with more parts than the database takes, match nothing.
SqlSelection selectionFor(const MessageCriterion& criterion);

}  // namespace qs
