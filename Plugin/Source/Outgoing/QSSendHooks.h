// What happens around a send in the plug-in's other parts: follow-ups, tracking. Each part fills in its own
// hook when the session is made; an empty hook is passed over. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Mail/Message.h"

namespace qs {

class HeadersEditor;
class MailAccount;

struct QSSendHooks {
    // The message stands in the outbox and the person wanted a follow-up.
    std::function<void(HeadersEditor& editor, const MessageRef& message, MailAccount& account)> createFollowUp;
    // A message was delivered, and with it its pixel. May be told more than once.
    std::function<void(const std::string& trackingUUID, const std::string& messageID)> pixelWasDelivered;
    // A message was delivered: its follow-up, if it has one, bears its unique id. May be told more than once. Without a
    // Message-Id the follow-up can't be tied to the message.
    std::function<void(const std::string& uniqueID, const std::optional<std::string>& messageID,
                       const std::string& notes)>
        followUpWasDelivered;
    // A message came in at that time which refers to those of these ids.
    std::function<void(const std::vector<std::string>& messageIDs, Date received)> messagesWereAnswered;
};

}  // namespace qs
