// What the index keeps of a message, read out of its octets. Never fails: what is damaged is left out and said.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Mime/Addresses.h"

namespace qs {

struct MessageFacts {
    std::string messageID, uniqueID;          // without angle brackets; empty for none
    std::vector<std::string> references;      // ids of messages that it belongs to, oldest first
    std::string sender, recipients, subject;  // display forms; recipients are those of To
    std::string allRecipients, body;          // for the index of words; the body with the names of attached files
    std::string snippet, damage;
    std::optional<Date> sent;     // the Date header
    std::optional<Date> lastHop;  // when the last server took it, as its Received header says
    int priority = 3, attachments = 0;
    std::vector<MailAddress> correspondents;  // for completing addresses
};

// A longer message is read this far for the index.
inline constexpr std::size_t kIndexedBytes = 4 << 20;

// `isWhole` is false when `content` is only the start of the message.
MessageFacts messageFacts(std::string_view content, bool isWhole);
// What its header alone, or some fields of it, tell: nothing of body, attachments and damage.
MessageFacts headerFacts(std::string_view header);
// A date as mail programs write it in Date and Received, leniently (RFC 5322 and what is found in the wild).
std::optional<Date> mailDate(std::string_view field);

}  // namespace qs
