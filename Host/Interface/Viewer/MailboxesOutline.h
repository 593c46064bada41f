// The list of mailboxes: what it shows beside each, what may be dropped there, and what is remembered of how it is
// shown.
#pragma once

#include <memory>

#include <string>

#include "Foundation/Runtime.h"

namespace qs {

class Mailbox;

class MailboxesOutlineViewController : public HostObject {
public:
    using HostObject::HostObject;  // class "MailboxesOutlineViewController"
};
namespace mailboxes_outline_view_controller {  // exchangeable; main thread
// The number beside a mailbox; 0 for none.
inline const Operation<int(Mailbox& item)> badgeCountForItem{"badgeCountForItem:"};
// What would become of messages that are dropped on a mailbox; kDragOperationNone refuses them.
inline const Operation<unsigned(Mailbox& proposedItem, int proposedChildIndex)> validateDrop{
    "outlineView:validateDrop:proposedItem:proposedChildIndex:"};
}  // namespace mailboxes_outline_view_controller
inline constexpr unsigned kDragOperationNone = 0, kDragOperationMove = 16;

class MailboxOutlineItemController : public HostObject {
public:
    using HostObject::HostObject;  // class "MailboxOutlineItemController"
};
namespace mailbox_outline_item_controller {  // exchangeable; main thread
// The name of the picture before a mailbox ("plugin:SidebarSnooze"); empty for the one that goes with its kind.
inline const Operation<std::string(Mailbox& item)> mailboxOutlineItemViewShouldDisplayImage{
    "mailboxOutlineItemViewShouldDisplayImage:"};
}  // namespace mailbox_outline_item_controller

class MailboxesOutlineViewStateStorage : public HostObject {
public:
    using HostObject::HostObject;  // class "MailboxesOutlineViewStateStorage"
};

namespace mailboxes_outline_view_state_storage {
// Class method; null before the host has an application. Main thread.
inline const Operation<std::shared_ptr<MailboxesOutlineViewStateStorage>()> sharedInstance{"sharedInstance"};
// An outbox is listed while something waits in it. Yes: outboxes are listed from now on, until none holds anything.
// Main thread.
inline const Operation<void(bool flag)> setShouldShowOutbox{"setShouldShowOutbox:"};
}  // namespace mailboxes_outline_view_state_storage

}  // namespace qs
