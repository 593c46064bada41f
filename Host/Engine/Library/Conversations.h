// Which messages belong together: those that name each other in References or In-Reply-To, directly or by way of
// others, whether these are here or not. Subjects do not count. Kept as messages come, in whatever order. Throws
// DatabaseFailure.
#pragma once

#include <cstdint>

#include "Database/Database.h"
#include "Library/MessageFacts.h"

namespace qs {

// The conversation of a message that is about to be put into the index. `own` is the number of the message, by which a
// message without any id is a conversation of its own. May join conversations that were apart so far.
std::int64_t takeIntoConversation(Database& index, const MessageFacts& facts, std::int64_t own);

}  // namespace qs
