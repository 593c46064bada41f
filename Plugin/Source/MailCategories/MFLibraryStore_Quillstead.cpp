// The library store's patch: what happens when messages come into mailboxes. It has no rules of its own, it calls those
// of the parts concerned. Main thread.
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/QSSendHooks.h"
#include "Outgoing/QSUndoSend.h"
#include "Platform.h"
#include "Snooze/QSSnoozeManager.h"
#include "Snooze/SnoozeMailboxes.h"

namespace qs {

namespace {

const Operation<void(const MessageList&, const MessageList&, bool, unsigned)> quillstead_messagesWereAdded{
    "quillstead_messagesWereAdded:secondaryMessages:duringOpen:options:"};

// Who answers a message has read it.
void tellReferences(const Message& message) {
    const auto& wasAnswered = QSSession::current().sendHooks().messagesWereAnswered;
    const auto headers = wasAnswered ? message.headersIfAvailable() : nullptr;
    if (!headers) return;
    if (const auto ids = headers->messageIDListForKey(MCHeaderKeyReferences); !ids.empty())
        wasAnswered(ids, message.dateReceived());
}

void messageWasAdded(const MessageRef& message) {
    const auto mailbox = message->mailbox();
    const auto account = mailbox ? mailbox->account() : nullptr;
    if (!account || isSame(*mailbox, account->_outboxMailboxCreateIfNeeded(false))) return;
    tellReferences(*message);
    if (isSame(*mailbox, account->draftsMailboxCreateIfNeeded(false)))
        reopenAfterUndo(message);
    else
        QSSnoozeManager::sharedManager().messageWasAdded(message);
}

void messagesWereAdded(HostObject& self, const MessageList& added, const MessageList& secondary, bool duringOpen,
                       unsigned options) {
    quillstead_messagesWereAdded(self, added, secondary, duringOpen, options);
    if (duringOpen || !QSSession::currentIfLoaded()) return;
    QSPluginDelegate::sharedDelegate().menuController().reloadMailboxMessages();
    for (const MessageRef& message : added)
        if (message) messageWasAdded(message);
}

void load() {
    const int minor = osMinor();
    PatchClass patch("MFLibraryStore_Quillstead");
    patch.add(quillstead_messagesWereAdded, messagesWereAdded);
    patch.addAsCategoryOf("MFLibraryStore");
    if (minor >= 11)
        patch.exchange("MFLibraryStore", library_store::messagesWereAdded.selector(),
                       quillstead_messagesWereAdded.selector());
    if (minor == 10)
        patch.exchange("MFLibraryStore", library_store::messagesWereAddedConversations.selector(),
                       quillstead_messagesWereAdded.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
