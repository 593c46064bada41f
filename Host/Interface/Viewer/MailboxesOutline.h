// What is remembered of how the list of mailboxes is shown.
#pragma once

#include <memory>

#include "Foundation/Runtime.h"

namespace qs {

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
