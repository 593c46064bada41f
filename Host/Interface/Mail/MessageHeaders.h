// The headers of one message, in order, values decoded to UTF-8. Names compare without regard to case.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qs {

inline constexpr std::string_view MCHeaderKeyMessageId = "Message-Id";
inline constexpr std::string_view MCHeaderKeyTo = "To";
inline constexpr std::string_view MCHeaderKeyCc = "Cc";
inline constexpr std::string_view MCHeaderKeyBcc = "Bcc";
inline constexpr std::string_view MCHeaderKeyFrom = "From";
inline constexpr std::string_view MCHeaderKeyReplyTo = "Reply-To";
inline constexpr std::string_view MCHeaderKeySubject = "Subject";
inline constexpr std::string_view MCHeaderKeyDate = "Date";
inline constexpr std::string_view MCHeaderKeyInReplyTo = "In-Reply-To";
inline constexpr std::string_view MCHeaderKeyReferences = "References";
// The same in all copies of a message before delivery; never transmitted.
inline constexpr std::string_view MCHeaderKeyXUniversallyUniqueIdentifier = "X-Universally-Unique-Identifier";

class MessageHeaders {
public:
    // The first value; nothing when the message has no such header.
    std::optional<std::string> firstHeaderForKey(std::string_view key) const;
    bool hasHeaderForKey(std::string_view key) const;
    std::vector<std::string> allHeadersForKey(std::string_view key) const;
    // Replaces all values of the key by this one, at the place of the first. Line ends and control characters in the
    // value are turned into spaces: a header can never smuggle in another.
    void setHeader(std::string_view value, std::string_view forKey);
    void removeHeaderForKey(std::string_view key);
    void append(std::string name, std::string value);  // behind the others, duplicates allowed; cleaned likewise

    // The id without its angle brackets; nothing when there is none in the header.
    std::optional<std::string> firstMessageIDForKey(std::string_view key) const;
    // All ids of the header, such as "References", in order, without their angle brackets.
    std::vector<std::string> messageIDListForKey(std::string_view key) const;
    // The bare address of the first mailbox in the header ("ada@example.org").
    std::optional<std::string> firstAddressForKey(std::string_view key) const;

    const std::vector<std::pair<std::string, std::string>>& all() const { return fields_; }

private:
    std::vector<std::pair<std::string, std::string>> fields_;
};

}  // namespace qs
