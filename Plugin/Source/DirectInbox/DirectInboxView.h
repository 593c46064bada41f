// The Direct Inbox as the popover shows it: a bar with what can always be done, and the rows as their cells draw them.
#pragma once

#include <memory>

namespace qs {

class QSDirectInboxViewController;
struct RowList;

inline constexpr const char *kDirectInboxPopover = "DirectInbox", *kAddMailboxButton = "addMailbox";

std::shared_ptr<const RowList> drawDirectInbox(const std::shared_ptr<QSDirectInboxViewController>& controller);

}  // namespace qs
