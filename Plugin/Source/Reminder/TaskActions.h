// Tasks made of messages: the viewer's action "updateTask:", and the state of its toolbar item. Main thread.
#pragma once

#include "Mail/Message.h"

namespace qs {

class HostObject;
class ToolbarItem;

// Makes, completes or changes the task of each message; the sender says which of these.
void updateTasks(const MessageList& messages, const HostObject* sender);
// Whether the item can be used. Its picture and tool tip tell the state of the first task that a message in order has,
// and its menu gets that task.
bool validateTasksItem(ToolbarItem& item, const MessageList& messages);

}  // namespace qs
