#include "Outgoing/QSUndoSend.h"

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Outgoing/QSDelayedSend.h"

namespace qs {

namespace {

constexpr TimeInterval kReopenDelay = 0.5;

MessageRef messageFrom(HostObject* object) {
    auto* message = dynamic_cast<Message*>(object);
    return message && message->isKindOf("MCMessage") ? std::static_pointer_cast<Message>(message->shared_from_this())
                                                     : nullptr;
}

std::string uniqueIDOf(const MessageRef& message) {
    const auto headers = message ? message->headers() : nullptr;
    return headers ? headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or("") : std::string();
}

// By the id: the copy in the outbox needn't be the object that somebody holds.
MessageList inOutbox(const std::string& uniqueID) {
    const auto app = MailApp::shared();
    const auto library = Library::shared();
    const auto outbox = app ? app->outbox() : nullptr;
    if (!outbox || !library || uniqueID.empty()) return {};
    MessageList found = library->messagesMatchingCriterion(outbox->criterion(), 0, kSearchStore);
    std::erase_if(found, [&](const MessageRef& message) { return uniqueIDOf(message) != uniqueID; });
    return found;
}

// As the log names a message: nothing of what it says.
std::string nameOf(const Message& message) { return "<" + message.messageID() + ">"; }

void tellFailure(const std::string& subject, const Error& error) {
    logError("A message could not be taken back: " + error.description);
    RunLoop::main().post([subject, error] {
        if (QSSession::currentIfLoaded())
            QSRunAlertPanel(QSLocalizedString("Undo Send"),
                            QSLocalizedString("“%@” could not be moved to the drafts. %@"), {},
                            {subject, error.description});
    });
}

void takeBack(const MessageRef& message, const std::string& uniqueID) {
    const auto headers = message->headers();
    auto account = headers ? MailAccount::accountForHeaders(*headers, message.get()) : nullptr;
    if (!account) account = message->account();
    const auto drafts = account ? account->draftsMailboxCreateIfNeeded(true) : nullptr;
    if (!drafts)
        return tellFailure(message->subject(),
                           {"Quillstead", 1, QSLocalizedString("There is no mailbox for drafts."), {}});
    const auto viewer = frontmostViewerOrOneFor(message);
    if (!viewer) return logError(stringWithFormat("Could not create MessageViewer for message %@", {nameOf(*message)}));
    auto& delegate = QSPluginDelegate::sharedDelegate();
    forgetHeldVersion(uniqueID);
    delegate.setFlag(true, QSMessageOpenAfterUndo, uniqueID);
    const auto moved = viewer->transferMessages(
        {message}, *drafts,
        {.deleteOriginals = true, .allowUndo = false, .isDeleteOperation = false, .isArchiveOperation = false});
    if (moved) return;
    // Either a delivery was quicker, and no draft will come; or the host could not, and the message still waits.
    if (inOutbox(uniqueID).empty()) {
        delegate.setFlag(false, QSMessageOpenAfterUndo, uniqueID);
        logInfo("A message had left the outbox before it could be taken back.");
    } else {
        tellFailure(message->subject(), moved.error());
    }
}

MessageList messagesMeantBy(HostObject* argument) {
    if (dynamic_cast<MenuItem*>(argument)) {
        const auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0);
        return viewer ? viewer->messagesTargetedByAction("replyMessage:") : MessageList();
    }
    const auto message = messageFrom(argument);
    return message ? MessageList{message} : MessageList();
}

}  // namespace

void sendNow(HostObject* argument) {
    const std::string uniqueID = uniqueIDOf(messageFrom(argument));
    if (inOutbox(uniqueID).empty()) return;
    QSPluginDelegate::sharedDelegate().setFlag(true, QSMessageFlagSendImmediately, uniqueID);
    if (const auto queue = DeliveryQueue::sharedDeliveryQueue()) queue->resetStateAndReprocessQueue();
}

void undoSend(HostObject* argument) {
    for (const MessageRef& message : messagesMeantBy(argument)) {
        const std::string uniqueID = uniqueIDOf(message);
        if (uniqueID.empty()) continue;
        for (const MessageRef& held : inOutbox(uniqueID))
            takeBack(held, uniqueID);
    }
}

void reopenAfterUndo(const MessageRef& message) {
    const std::string uniqueID = uniqueIDOf(message);
    if (!QSPluginDelegate::sharedDelegate().flagForKey(QSMessageOpenAfterUndo, uniqueID)) return;
    RunLoop::main().after(kReopenDelay, [message, uniqueID] {
        if (!QSSession::currentIfLoaded()) return;
        const auto viewer = frontmostViewerOrOneFor(message);
        if (!viewer)
            return logError(stringWithFormat("Could not create MessageViewer for message %@", {nameOf(*message)}));
        auto& delegate = QSPluginDelegate::sharedDelegate();
        delegate.setFlag(false, QSMessageOpenAfterUndo, uniqueID);
        // Sent anew, it is held anew.
        forgetHeldVersion(uniqueID);
        viewer->sendForDraft(nullptr, true, message);
    });
}

}  // namespace qs
