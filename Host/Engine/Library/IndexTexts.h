// The texts of messages in the index: words and fragments, by which they are found. Those of a few messages go in with
// their rows; those of many that come at once, later and a little at a time, so that the rows are there sooner. Which
// are still to come is kept in the index itself. Plain functions over a connection. Throws DatabaseFailure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database/Database.h"
#include "Library/IndexTables.h"
#include "Library/MessageFacts.h"

namespace qs::texts {

// Of a new row. Without a file only its header has any.
void put(Database& index, std::int64_t seq, const MessageFacts& facts);
void putLater(Database& index, std::int64_t seq, const MessageFacts& facts);
// The file has come of a message that was only listed.
void fill(Database& index, std::int64_t seq, const MessageFacts& facts);
void fillLater(Database& index, std::int64_t seq);

// Some of those still to come, the newest first: of messages whose files are here, or else of those that are only
// listed.
std::vector<IndexedFile> toCome(Database& index, std::size_t most);
bool areVeryMany(Database& index);  // are still to come
bool isToCome(Database& index, std::int64_t seq);
// What was still to come of the row, from its file's facts; without them from the row itself.
void putWhatWasToCome(Database& index, std::int64_t seq, const MessageFacts* facts);

}  // namespace qs::texts
