// What can be done about the Direct Inbox's messages: swipes, reactions, reading.

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Mail/MessageArray.h"
#include "Mail/MessageFlagBits.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Settings/UserDefaults.h"
#include "Text/Color.h"

namespace qs {

namespace {

constexpr const char* kReadColor = "#2AAEF5";

std::string archiveColor() { return Color::colorWithRed(0.26, 0.45, 0.64).hexString(); }

std::int64_t cleanupMode() { return QSPluginDelegate::quillsteadDefaults().integerForKey("QSMenuCleanupMode"); }

using Viewer = std::shared_ptr<MessageViewer>;

Viewer viewerFor(const MessageRef& message) {
    if (!message) return nullptr;
    return message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), message);
}

bool isLibraryMessage(const QSDirectInboxRow& row) {
    const MessageRef& message = row.QSDirectInboxRepresentedMessage;
    return row.type() == QSDirectInboxRowType::Message && message && message->isKindOf("MFLibraryMessage");
}

bool sendTo(std::string_view action, HostObject* target, HostObject* sender) {
    const auto application = MailApp::shared();
    return application && application->sendAction(action, target, sender);
}

std::shared_ptr<MessageArray> arrayOf(const MessageRef& message) {
    return std::make_shared<MessageArray>(MessageList{message});
}

}  // namespace

bool QSDirectInboxViewController::sendForMessage(std::string_view action, const MessageRef& message,
                                                 HostObject* sender) {
    const Viewer viewer = viewerFor(message);
    return viewer && sendTo(action, viewer.get(), sender);
}

std::vector<QSTableViewRowAction> QSDirectInboxViewController::tableViewRowActionsForRow(const QSDirectInboxRow& row,
                                                                                         QSRowEdge edge) {
    if (!isLibraryMessage(row)) return {};
    const auto self = std::static_pointer_cast<QSDirectInboxViewController>(shared_from_this());
    const auto handler = [weak = std::weak_ptr(self), identifier = row.identifier](auto act) {
        return [weak, identifier, act] {
            const auto controller = weak.lock();
            QSDirectInboxRow* const found = controller ? controller->rowWithIdentifier(identifier) : nullptr;
            if (!found) return;
            if (const Viewer viewer = viewerFor(found->QSDirectInboxRepresentedMessage))
                act(*controller, *found, viewer);
        };
    };
    if (edge == QSRowEdge::Leading) {
        const bool isRead = row[QSDirectInboxMessageIsReadKey].boolValue();
        return {{QSLocalizedString(isRead ? "Mark as unread" : "Mark as read"), kReadColor, false,
                 handler([isRead](auto& controller, auto& found, const Viewer& viewer) {
                     controller.setRead(found, !isRead, viewer);
                 })}};
    }
    // What the row says is what is done, whatever the setting is by then.
    const std::int64_t mode = cleanupMode();
    const auto cleaningUp = [mode](auto& controller, auto& found, const Viewer& viewer) {
        controller.cleanUp(found.identifier, found.QSDirectInboxRepresentedMessage, viewer, mode);
    };
    switch (mode) {
    case kCleanupArchives: return {{QSLocalizedString("Archive"), archiveColor(), false, handler(cleaningUp)}};
    case kCleanupTrashes: return {{QSLocalizedString("Trash"), "", true, handler(cleaningUp)}};
    default: return {};
    }
}

void QSDirectInboxViewController::removeRow(std::string_view identifier) {
    std::erase_if(mailboxMessages_, [&](const QSDirectInboxRow& row) { return row.identifier == identifier; });
    rowDidChange();
}

// The row goes at once, whatever becomes of the message: the next list tells. By value, as the row owned them.
bool QSDirectInboxViewController::cleanUp(std::string rowIdentifier, MessageRef message, const Viewer& viewer,
                                          std::int64_t mode) {
    removeRow(rowIdentifier);
    if (!viewer || (mode != kCleanupArchives && mode != kCleanupTrashes)) return false;
    const auto array = arrayOf(message);
    return sendTo(mode == kCleanupArchives ? "archiveMessages:" : "deleteMessages:", viewer.get(), array.get());
}

bool QSDirectInboxViewController::markJunk(QSDirectInboxRow& row) {
    const MessageRef message = row.QSDirectInboxRepresentedMessage;
    const bool isJunk = message->flags().junk;
    row.values[std::string(QSDirectInboxMessageJunkKey)] = !isJunk;
    rowDidChange();
    return sendForMessage(isJunk ? "markAsNotJunkMail:" : "markAsJunkMail:", message, message.get());
}

void QSDirectInboxViewController::react(QSDirectInboxRow& row, int tag) {
    const MessageRef message = row.QSDirectInboxRepresentedMessage;
    if (!message) return;
    const auto send = [&](std::string_view action) { return sendForMessage(action, message, message.get()); };
    switch (tag) {
    case kReactReply: return closeIf(send("replyMessage:"));
    case kReactReplyAll: return closeIf(send("replyAllMessage:"));
    case kReactForward: return closeIf(send("forwardMessage:"));
    case kReactCleanUp: return reloadIf(cleanUp(row.identifier, message, viewerFor(message), cleanupMode()));
    case kReactJunk: return reloadIf(markJunk(row));
    case kReactNote: return reloadIf(send("createQuickNote:"));
    case kReactSnooze: return reloadIf(send("snooze:"));
    case kReactTask: return reloadIf(send("updateTask:"));
    default: return;
    }
}

void QSDirectInboxViewController::closeIf(bool wasDone) {
    const auto menu = menuController.lock();
    if (wasDone && menu) menu->closePopover(nullptr);
}

void QSDirectInboxViewController::reloadIf(bool wasDone) {
    if (wasDone) reloadMailboxMessages();
}

void QSDirectInboxViewController::toggleReadState(QSDirectInboxRow& row, bool state) {
    setRead(row, state, viewerFor(row.QSDirectInboxRepresentedMessage));
}

void QSDirectInboxViewController::setRead(QSDirectInboxRow& row, bool state, const Viewer& viewer) {
    const MessageRef message = row.QSDirectInboxRepresentedMessage;
    row.values[std::string(QSDirectInboxMessageIsReadKey)] = state;
    rowDidChange();
    if (viewer) sendTo(state ? "markAsRead:" : "markAsUnread:", viewer.get(), message.get());
}

void QSDirectInboxViewController::openMessage(const QSDirectInboxRow& row) {
    if (!isLibraryMessage(row)) return;
    const MessageRef message = row.QSDirectInboxRepresentedMessage;
    const Viewer viewer = viewerFor(message);
    if (!viewer) {
        logError(stringWithFormat("Could not create MessageViewer for message %@", {message->subject()}));
        return;
    }
    if (const auto application = MailApp::shared()) application->activateIgnoringOtherApps(true);
    message_viewer::show(viewer);
    closeIf(true);
}

void QSDirectInboxViewController::checkMail() { sendTo("checkNewMail:", nullptr, this); }

void QSDirectInboxViewController::composeMessage() { closeIf(sendTo("showComposeWindow:", nullptr, this)); }

void QSDirectInboxViewController::openPreferences() { closeIf(sendTo("showQuillsteadPreferences:", nullptr, this)); }

}  // namespace qs
