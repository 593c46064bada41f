// A mailbox's heading in the Direct Inbox, with buttons that take it out and move it up and down. Main thread.
#pragma once

#include <memory>

#include "DirectInbox/QSDirectInboxViewController.h"
#include "Models/RowList.h"

namespace qs {

struct QSDirectInputMailboxTableCellView {
    static ListRow draw(const std::shared_ptr<QSDirectInboxViewController>& controller, const QSDirectInboxRow& row);
};

}  // namespace qs
