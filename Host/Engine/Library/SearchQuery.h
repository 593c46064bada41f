// What a person types into the search field, read as a criterion. Whatever is typed means something:
//
//   budget "annual report"        words and phrases, all of them, anywhere in a message; case and accents don't matter,
//                                 and the last word may go on, from its third letter
//   from:ada to:ben subject:plan  in one place only; to: looks at Cc and Bcc as well; body: is the text
//   has:attachment                is:unread is:read is:flagged
//   before:2026-03 after:yesterday on:22.11.2026    days, months, years; also "today" and spans such as 7d, 2w, 3m, 1y
//   in:sent                       mailboxes of that name; in:all looks everywhere
//   -word -from:ada               not that
//
// What looks like an operator but can't be read as one is taken as words. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Mail/MessageCriterion.h"

namespace qs {

struct SearchPlace {
    std::string name, identifier;  // of a mailbox: as it is shown, and in criteria
};

struct SearchSurroundings {
    std::vector<SearchPlace> places;
    Date now;
    std::string timeZone;  // empty: the person's
};

struct SearchQuery {
    MessageCriterion criterion;
    bool saysWhere = false;  // with "in:": the mailbox that is shown does not matter
};

SearchQuery parseSearch(std::string_view typed, const SearchSurroundings& around);

}  // namespace qs
