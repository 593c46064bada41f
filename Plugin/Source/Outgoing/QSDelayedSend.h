// The countdown that is shown while a message is held for a moment: "Send now" and "Undo send". Main thread.
#pragma once

#include <string_view>

#include "Mail/Message.h"

namespace qs {

// Nothing is shown when there is nothing to point at, or another message's countdown is shown; the message then leaves
// when its time has come.
void showCountdown(const MessageRef& message);

// The message with that unique id is taken back or about to be sent anew: neither the countdown nor the "Send now" of
// the version that is held must count for what comes after it.
void forgetHeldVersion(std::string_view uniqueID);

}  // namespace qs
