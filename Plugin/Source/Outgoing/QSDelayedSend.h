// The countdown that is shown while a message is held for a moment: "Send now" and "Undo send". Main thread.
#pragma once

#include <string_view>

#include "Mail/Message.h"

namespace qs {

// Nothing is shown when there is nothing to point at, or another message's countdown is shown; the message then leaves
// when its time has come.
void showCountdown(const MessageRef& message);

// The message with that unique id was taken back or sent anew: the countdown of the earlier one must not speak for it.
void closeCountdown(std::string_view uniqueID);

}  // namespace qs
