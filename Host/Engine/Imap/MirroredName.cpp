#include "Imap/MirroredName.h"

#include <charconv>

#include "Imap/MirrorState.h"
#include "Text/Digests.h"

namespace qs {

std::string mirroredPrefixWhateverValidity(const MirroredMailbox& mailbox) {
    return "imap-" + SHA256HexDigest(mailbox.origin).substr(0, 12) + "-";
}

std::string mirroredPrefix(const MirroredMailbox& mailbox) {
    return mirroredPrefixWhateverValidity(mailbox) + std::to_string(mailbox.uidValidity) + "-";
}

std::string mirroredName(const MirroredMailbox& mailbox, std::uint32_t uid) {
    return mirroredPrefix(mailbox) + std::to_string(uid);
}

std::optional<std::uint32_t> uidInName(const MirroredMailbox& mailbox, std::string_view name) {
    const std::string prefix = mirroredPrefix(mailbox);
    if (!name.starts_with(prefix)) return {};
    name.remove_prefix(prefix.size());
    std::uint32_t uid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), uid);
    if (error != std::errc() || end != name.data() + name.size() || uid == 0) return {};
    return uid;
}

}  // namespace qs
