// Reads lists out of the index: pages, their lengths, conversations. The work for a page depends on its length and its
// distance from a known row, not on how long the list is. Throws DatabaseFailure.
#pragma once

#include <cstdint>
#include <vector>

#include "Database/Database.h"
#include "Library/IndexQuery.h"
#include "MailLibrary.h"

namespace qs::lists {

ListPage page(Database& index, const SqlSelection& selection, int offset, int limit, const ListPlace& known);
std::vector<std::int64_t> ids(Database& index, const SqlSelection& selection, int limit);
std::vector<MessageSummary> conversation(Database& index, std::int64_t id, int limit);

}  // namespace qs::lists
