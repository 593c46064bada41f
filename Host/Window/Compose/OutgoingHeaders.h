// The headers of the message that a compose window makes, and what keeps a message from being sent. Pure.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

class MessageHeaders;

struct OutgoingFields {
    std::string fromName, fromAddress;
    std::vector<std::string> to, cc, bcc;  // as typed; an entry may hold several addresses
    std::string subject;
    std::string uniqueID;
    std::string messageID;  // without brackets; empty: given by the writer
    std::vector<std::pair<std::string, std::string>> others;
};

// No value can smuggle in another header; recipients are written in their display forms.
std::shared_ptr<MessageHeaders> outgoingHeaders(const OutgoingFields& fields, Date now);

// The entries as one text; empty when an address header keeps them all.
std::string unfinishedRecipients(const std::vector<std::string>& entries);
bool hasRecipients(const OutgoingFields& fields);
// Title and text for the person, or nothing when the message can be sent.
struct Obstacle {
    std::string title, text;
};
std::optional<Obstacle> obstacleToSending(const OutgoingFields& fields);

}  // namespace qs
