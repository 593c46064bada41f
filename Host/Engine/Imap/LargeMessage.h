// One message of any size: what is too large to be held comes in pieces, each a question of its own, straight into a
// file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;
class ImapConnection;
class ImapUidSet;
class MailKeeper;
struct FetchedMessage;

// Those of the selected mailbox's messages that are too large to come in a batch of many.
Result<std::set<std::uint32_t>> largeMessages(ImapConnection& line, const ImapUidSet& uids);

// Nothing when it is gone. A large one's content is in a file, synced. When the connection breaks, the keeper has what
// came so far under the name that the message will have, and the next call goes on behind it, also after a restart, if
// the server tells the same size; after other failures nothing is left. What has a file must be given to the keeper.
// The end is where the server has no more, whatever it said of the size before.
Result<std::optional<FetchedMessage>> fetchOne(ImapConnection& line, std::uint32_t uid, MailKeeper& keeper,
                                               const std::string& name);

// Whether the disk takes so many bytes and leaves some to others. Fails with a sentence for the person.
Result<void> checkRoom(FileSystem& files, const std::filesystem::path& folder, std::uint64_t size);
bool isLackOfRoom(const Error& error);  // that, or what the disk itself said

}  // namespace qs
