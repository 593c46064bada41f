// A window that shows mailboxes, a list of messages and the selected ones.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"

namespace qs {

class Mailbox;

// The table that lists messages. On OS minor 11 it is reached by way of messageListController and tableViewManager.
class TableView : public HostObject {
public:
    using HostObject::HostObject;         // class "NSTableView"
    virtual int selectedRow() const = 0;  // -1 for none
    virtual void reloadData() = 0;
    virtual void selectRow(int row, bool byExtendingSelection) = 0;
};
class TableViewManager : public HostObject {
public:
    using HostObject::HostObject;  // class "TableViewManager"
    virtual std::shared_ptr<TableView> tableView() const = 0;
};
class MessageListController : public HostObject {
public:
    using HostObject::HostObject;  // class "MessageListController"; OS minor 11
};

class MessageViewer : public HostObject {
public:
    using HostObject::HostObject;  // class "MessageViewer" or "SingleMessageViewer"

    // The viewer that the person works in; null when there is none. Options: 0.
    static std::shared_ptr<MessageViewer> frontmostMessageViewerWithOptions(unsigned options);

    virtual std::shared_ptr<Window> window() const = 0;
    virtual std::shared_ptr<Toolbar> toolbar() const = 0;
    virtual MessageList selectedMessages() const = 0;
    // The messages that an action of that name would act on: the selection. What is done to a single message, as a
    // reply, is done to one of a conversation that stands in one row: the one that is read or, where several rows are
    // selected, the newest.
    virtual MessageList messagesTargetedByAction(std::string_view action) const = 0;
    virtual std::shared_ptr<Mailbox> mailbox() const = 0;  // the one shown; null for a search over all

    struct TransferOptions {
        bool deleteOriginals = true, allowUndo = true, isDeleteOperation = false, isArchiveOperation = false;
    };
    virtual Result<void> transferMessages(const MessageList& messages, Mailbox& toMailbox, TransferOptions options) = 0;
    // Opens a draft in a compose window.
    virtual void sendForDraft(HostObject* sender, bool forDraft, MessageRef actualMessage) = 0;
};

// Class method of SingleMessageViewer: a viewer for one message, to act on it; null when there can be none.
namespace single_message_viewer {
inline const Operation<std::shared_ptr<MessageViewer>(MessageRef message, bool hiddenCopies, bool showRelatedMessages,
                                                      std::shared_ptr<HostObject> expandedSelectedMailboxes)>
    viewerForMessage{"viewerForMessage:hiddenCopies:showRelatedMessages:expandedSelectedMailboxes:"};
}  // namespace single_message_viewer

namespace message_viewer {
// Brings the viewer to the front; one for a single message shows that to the person.
inline const Operation<void()> show{"show"};
// How the table manager is reached: tableManager, or on OS minor 11 messageListController then tableViewManager.
inline const Operation<std::shared_ptr<HostObject>()> tableManager{"tableManager"};
inline const Operation<std::shared_ptr<HostObject>()> messageListController{"messageListController"};
inline const Operation<std::shared_ptr<HostObject>()> tableViewManager{"tableViewManager"};
// Exchangeable, beside the toolbar operations of toolbar_delegate.
inline const Operation<bool(MenuItem& item)> validateMenuItem{"validateMenuItem:"};
}  // namespace message_viewer

}  // namespace qs
