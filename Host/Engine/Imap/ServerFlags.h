// The flags of a message as the server names them, and as one number (MaildirFlags.h). Flags and keywords of others are
// left alone: only what changes is ever sent.
#pragma once

#include "Imap/ImapTypes.h"

namespace qs {

int packedFromServer(const ImapFlags& flags);
ImapFlags serverFlags(int packed);
// Those that the selected mailbox keeps for more than a moment.
int keptFlags(const ImapSelection& selection);

}  // namespace qs
