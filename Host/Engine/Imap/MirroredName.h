// The names of files that hold messages of a server: made of the server's own numbers, so that a message is recognised
// after every crash, and is known by its name before its file is here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

struct MirroredMailbox;

// "imap-3f2a…-17-", for all messages of that mailbox as long as the server does not count them anew.
std::string mirroredPrefix(const MirroredMailbox& mailbox);
// For all of them, however it counts.
std::string mirroredPrefixWhateverValidity(const MirroredMailbox& mailbox);
std::string mirroredName(const MirroredMailbox& mailbox, std::uint32_t uid);
// Nothing when the name is not of that mailbox, as it is counted now.
std::optional<std::uint32_t> uidInName(const MirroredMailbox& mailbox, std::string_view name);

}  // namespace qs
