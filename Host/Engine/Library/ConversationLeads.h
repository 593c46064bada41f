// In each mailbox the newest message of a conversation leads it: messages.leads is 1 there and 0 in all others. A list
// of conversations is a list of these rows, however many messages there are. Kept here, as messages come and go. Throws
// DatabaseFailure.
#pragma once

#include <cstdint>

#include "Database/Database.h"

namespace qs::leads {

// For a message that is about to be put into that place: whether it will lead. The one that led so far then does not.
bool take(Database& index, std::int64_t conversation, std::int64_t mailbox, std::int64_t seq);
// After a message that led has gone from there.
void passOn(Database& index, std::int64_t conversation, std::int64_t mailbox);
// Before the messages of `conversation` become ones of `into`.
void join(Database& index, std::int64_t conversation, std::int64_t into);

}  // namespace qs::leads
