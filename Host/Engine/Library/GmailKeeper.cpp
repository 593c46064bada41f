#include "Library/GmailKeeper.h"

#include <charconv>

#include "Text/Digests.h"

namespace qs {

namespace {

constexpr std::string_view kPrefix = "gmail-";

}  // namespace

std::string gmailCopyName(std::uint64_t message, std::string_view folder) {
    return std::string(kPrefix) + std::to_string(message) + "-" + SHA256HexDigest(std::string(folder)).substr(0, 12);
}

std::optional<std::uint64_t> gmailMessageInName(std::string_view name) {
    if (!name.starts_with(kPrefix)) return {};
    name.remove_prefix(kPrefix.size());
    std::uint64_t message = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), message);
    if (error != std::errc() || end == name.data() + name.size() || *end != '-' || message == 0) return {};
    return message;
}

}  // namespace qs
