// Turns what is looked for into SQL over the table of messages, which is called m in the statement.
#pragma once

#include <string>
#include <string_view>

#include "Database/Database.h"
#include "Mail/MessageCriterion.h"

namespace qs {

struct SqlCondition {
    std::string text;
    SqlValues values;
};

// Criteria nested deeper than is sensible, or with more parts than the database takes, match nothing.
SqlCondition conditionFor(const MessageCriterion& criterion);
// As conditionFor, and with the words that the person typed.
SqlCondition conditionFor(const MessageCriterion& criterion, std::string_view search);

// The mailbox that the criterion alone selects; empty when it selects anything else.
std::string onlyMailboxOf(const MessageCriterion& criterion);

inline constexpr std::string_view kNewestFirst = " ORDER BY m.received DESC, m.seq DESC";

}  // namespace qs
