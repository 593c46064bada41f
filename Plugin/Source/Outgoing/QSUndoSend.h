// "Send now" and "Undo send" for messages that are held in the outbox. Main thread.
#pragma once

#include "Mail/Message.h"

namespace qs {

class HostObject;

// Actions of the application, as the plug-in's buttons and menu items name them. Both take a message; undoSend also a
// menu item, which stands for the messages that the frontmost viewer has selected.
namespace held_mail {
inline const Operation<void(HostObject* messageOrSender)> sendNow{"sendNow:"};
inline const Operation<void(HostObject* messageOrSender)> undoSend{"undoSend:"};
}  // namespace held_mail

// What they do. A message that has left the outbox meanwhile is passed over.
void sendNow(HostObject* argument);
void undoSend(HostObject* argument);

// A message has come into the drafts: opened for editing half a second later if it was taken back.
void reopenAfterUndo(const MessageRef& message);

}  // namespace qs
