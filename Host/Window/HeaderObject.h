// The class "HeaderViewController" with the host's own code, and how a message comes to stand in a header. Main thread.
#pragma once

#include "Mail/Message.h"

namespace qs {

class HeaderViewController;

void defineHeaderClass();
// Null: no message. The header is brought up to date also when it showed this message before.
void showInHeader(HeaderViewController& header, const MessageRef& message);

}  // namespace qs
