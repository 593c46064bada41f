// What happens around a send in the plug-in's other parts: follow-ups, the countdown. Each part fills in its own hook
// when the session is made; an empty hook is passed over. Main thread.
#pragma once

#include <functional>
#include <memory>

#include "Mail/Message.h"

namespace qs {

class HeadersEditor;
class MailAccount;

struct QSSendHooks {
    // The message stands in the outbox and the person wanted a follow-up.
    std::function<void(HeadersEditor& editor, const MessageRef& message, MailAccount& account)> createFollowUp;
    // The message is held for a while and can be taken back.
    std::function<void(const MessageRef& message)> showCountdown;
};

}  // namespace qs
