// Messages as the sender of an action, where the action is meant for these and not for a selection.
#pragma once

#include "Mail/Message.h"

namespace qs {

class MessageArray : public HostObject {
public:
    explicit MessageArray(MessageList held) : HostObject("NSArray"), messages(std::move(held)) {}
    const MessageList messages;
};

}  // namespace qs
