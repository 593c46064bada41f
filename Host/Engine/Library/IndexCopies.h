// At Gmail one message stands in several mailboxes, as a row in each. They bear Gmail's number of it, and of them the
// one is shown that comes first: the inbox's, else that of a label in the order of the mailboxes, else the one among
// all mail. As soon as one lies in the trash or among junk the others are on their way out, though the server has yet
// to be told, and are not shown any more. What a row is among them is kept with it, so that no list has to look at
// others. Throws DatabaseFailure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Database/Database.h"
#include "Library/IndexTables.h"
#include "Mail/Mailbox.h"

namespace qs::copies {

// As kept in messages.copy; any other message is Shown.
enum Copy {
    kShown = 0,    // stands for the message
    kOfShown = 1,  // is in the list of its own mailbox, and in no other
    kOnItsWayOut = 2,
};

// Of a mailbox, for mailboxes.place, by which copies are sorted. `path`: its name, levels parted by "/".
std::string placeOf(MailboxKind kind, std::string_view path);

// The one that is shown first.
std::vector<IndexedFile> rowsOf(Database& index, std::int64_t account, std::uint64_t message);
// The row is of that message. Answers the numbers of mailboxes whose lists are others now.
std::vector<std::int64_t> setNumber(Database& index, std::int64_t account, std::int64_t seq, std::uint64_t message);
// After rows of the message came or went; 0 for the message: nothing to do. Answers likewise.
std::vector<std::int64_t> settle(Database& index, std::int64_t account, std::uint64_t message);

}  // namespace qs::copies
