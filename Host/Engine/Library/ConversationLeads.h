// In each mailbox the newest message of a conversation leads it and stands in the table `leading`. A list of
// conversations is a list of these, however many messages there are. Kept here, as messages come and go. Throws
// DatabaseFailure.
#pragma once

#include <cstdint>

#include "Database/Database.h"

namespace qs::leads {

// For a message that is about to be put into that place: it leads, unless a newer one of the conversation does.
void take(Database& index, std::int64_t conversation, std::int64_t mailbox, std::int64_t seq);
// For a message that goes from there: whether it led. It doesn't any more, and after it has gone passOn() is due.
bool giveUp(Database& index, std::int64_t mailbox, std::int64_t seq);
void passOn(Database& index, std::int64_t conversation, std::int64_t mailbox);
// Before the messages of `conversation` become ones of `into`.
void join(Database& index, std::int64_t conversation, std::int64_t into);

}  // namespace qs::leads
