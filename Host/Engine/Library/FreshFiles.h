// Files of mailboxes that the index doesn't know yet, in lists on its writing connection, as folders may be larger than
// memory. The lists go with the connection; the next comparison makes them again. Throws DatabaseFailure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database/Database.h"

namespace qs {

struct NewFile {
    std::string name, file;  // the unique part, and the place in the Maildir
};

// A newer message's is larger, as far as its name tells: ours and most others' begin with the time, those of a mirror
// end with the server's number.
std::int64_t freshnessOf(const std::string& name);

namespace fresh {

// Makes the lists, when the connection is opened.
void prepare(Database& index);

// What a folder holds, for one comparison. Answers false for a name that is in the list already.
bool addFound(Database& index, const std::string& name, const std::string& file);
void forgetFound(Database& index);
// Brings the list of a mailbox in step with what was found. Answers how many are on it. `wasThere`: those that were not
// on it lay there before the program looked for the first time.
std::int64_t takeFound(Database& index, std::int64_t mailbox, bool wasThere);

// The newest; of those, what comes after `last` if that is given.
std::vector<NewFile> newest(Database& index, std::int64_t mailbox, const std::string& last, std::size_t limit);
std::int64_t count(Database& index);  // of all mailboxes
bool isEmpty(Database& index, std::int64_t mailbox);
// Off the list. Answers its `wasThere`; nothing when it was not on it.
std::optional<bool> take(Database& index, std::int64_t mailbox, const std::string& name);
void forget(Database& index, std::int64_t mailbox);

}  // namespace fresh

}  // namespace qs
