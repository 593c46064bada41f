#include "Snooze/QSSnoozeManager.h"

#include "Application/UserNotifications.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Mail/Library.h"
#include "Mail/LibraryReading.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Platform.h"
#include "Snooze/SnoozeMailboxes.h"

namespace qs {

namespace {

constexpr TimeInterval kCheckInterval = 20;
constexpr TimeInterval kMissedFor = 259200;  // three days
constexpr TimeInterval kAwakeDelay = 0.5;
constexpr const char* kSnoozeMailboxName = "Snooze";  // in every language

std::shared_ptr<Mailbox> snoozeMailboxOf(const Message& message, bool create) {
    const auto account = message.account();
    return account ? QSSnoozeManager::snoozeMailboxForAccount(*account, create) : nullptr;
}

void displayCountDidChange(const std::shared_ptr<Mailbox>& mailbox) {
    NotificationCenter::defaultCenter().post(MailboxDisplayCountDidChangeNotification, mailbox.get());
}

MessageList copiesOf(const std::string& messageID) {
    const auto library = Library::shared();
    return library ? library->messagesWithMessageIDHeader(messageID) : MessageList();
}

void markCopiesUnread(const std::string& messageID) {
    static const Operation<void(HostObject*)> markAsUnread("markAsUnread:");
    for (const MessageRef& copy : copiesOf(messageID))
        if (const auto viewer =
                message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), copy))
            markAsUnread(viewer, nullptr);
}

void tellAsNewMail(const MessageRef& message, const std::string& messageID) {
    // The message may be the copy that it has left behind.
    MessageList copies = copiesOf(messageID), same;
    for (const MessageRef& copy : copies)
        if (copy->libraryID() == message->libraryID()) same.push_back(copy);
    if (same.empty() && !copies.empty()) same.push_back(copies.front());
    const auto centre = user_notification_center_controller::sharedInstance.onClass(
        QSClassFromString("UserNotificationCenterController"));
    if (centre) centre->_postUserNotificationForMessages(same, centre->_snippetsForMessages(same));
}

// Where a message goes back to, and the label that it then no longer bears.
std::string originOf(const Message& message, bool asLabel) {
    const auto account = message.account();
    const auto origin = asLabel && account ? account->inboxMailboxCreateIfNeeded(false) : message.mailbox();
    return origin ? persistentIdentifierOf(*origin) : std::string();
}

void labelAsSnoozed(const MessageRef& message, const std::shared_ptr<Mailbox>& label) {
    const auto inbox = message->account()->inboxMailboxCreateIfNeeded(false);
    const bool leavesInbox = inbox && inbox->isValidGmailLabel() && bearsLabel(*message, inbox);
    changeGmailLabels(message, {label}, leavesInbox ? Mailboxes{inbox} : Mailboxes{});
}

}  // namespace

QSSnoozeManager& QSSnoozeManager::sharedManager() { return QSSession::current().part<QSSnoozeManager>(); }

QSSnoozeManager::QSSnoozeManager() {
    wakeupTimer_ = RunLoop::main().every(kCheckInterval, [this] { checkSnoozedMessages(); });
    loadSnoozeDatesFromDefaults();
    labelObservation_ = NotificationCenter::defaultCenter().addObserver(
        std::string(MFLibraryMessagesGmailLabelsChangedNotification),
        [this](const Notification& notification) { gmailLabelChanged(notification); });
}

QSSnoozeManager::~QSSnoozeManager() { wakeupTimer_->invalidate(); }

std::shared_ptr<Mailbox> QSSnoozeManager::snoozeMailboxForAccount(MailAccount& account, bool createIfNecessary) {
    if (account.isGmailAccount()) {
        assertThat(account.isKindOf("MFIMAPAccount"), "Gmail labels need to be IMAP-based");
        if (auto label = account.gmailLabelWithName(kSnoozeMailboxName)) return label;
    }
    return account.mailboxForRelativePath(kSnoozeMailboxName, false, createIfNecessary);
}

bool QSSnoozeManager::isSnoozeMailbox(const Mailbox& mailbox) {
    const auto account = mailbox.account();
    return account && isSame(mailbox, snoozeMailboxForAccount(*account, false));
}

MessageRef QSSnoozeManager::snoozedMessageWithMessageID(const std::string& messageID) {
    if (messageID.empty()) return nullptr;
    for (const MessageRef& copy : copiesOf(messageID)) {
        const auto snooze = snoozeMailboxOf(*copy, false);
        if (!snooze) continue;
        const auto mailbox = copy->mailbox();
        if (snooze->isValidGmailLabel() ? bearsLabel(*copy, snooze) : mailbox && isSame(*mailbox, snooze)) return copy;
    }
    return nullptr;
}

void QSSnoozeManager::refuse(const char* text, const char* logLine) const {
    logWarning(logLine);
    QSRunAlertPanel(QSLocalizedString("Failed to snooze"), QSLocalizedString(text), {});
}

void QSSnoozeManager::snoozeMessage(const MessageRef& message, std::int64_t withSnoozeMode) {
    const std::string messageID = message->messageID();
    if (messageID.empty())
        return refuse("Quillstead can not snooze this message, because it does not have a unique message identifier.",
                      "Message does not have a message-id. Cannot perform snoozing!");
    const auto snooze = snoozeMailboxOf(*message, true);
    const bool asLabel = snooze && snooze->isValidGmailLabel();
    SnoozeInfo info{.QSSnoozeDate = {}, .QSSnoozeOriginalMailboxIdentifier = originOf(*message, asLabel)};
    if (snooze) {
        info.QSSnoozeMailboxIdentifier = persistentIdentifierOf(*snooze);
        if (asLabel)
            labelAsSnoozed(message, snooze);
        else
            moveAllCopies(message, messageID, *snooze);
    }
    info.QSSnoozeDate = snoozeDateForMode(withSnoozeMode).date;
    if (const auto before = infoFor(messageID))
        info.QSSnoozeOriginalMailboxIdentifier = before->QSSnoozeOriginalMailboxIdentifier;
    if (info.QSSnoozeOriginalMailboxIdentifier.empty() || info.QSSnoozeMailboxIdentifier.empty())
        return refuse("Quillstead can not snooze this message due to invalid information.",
                      "Invalid message information. Cannot snooze message!");
    addSnoozeInfo(std::move(info), messageID);
}

void QSSnoozeManager::checkSnoozedMessages() {
    const Date now = RunLoop::main().now();
    for (const std::string& messageID : dueIDs(now)) {
        if (!isItTimeToWakeUpForMessageID(messageID)) continue;  // any more
        if (const auto message = snoozedMessageWithMessageID(messageID)) {
            wakeupMessage(message);
        } else if (LibraryReading::isOver() && now - *snoozeDateForMessageID(messageID) > kMissedFor) {
            logWarning("Snoozed message could not be found in snooze mailbox after 3 days... Ignoring it from now on");
            removeSnoozeInfoForMessageID(messageID);
        }
    }
}

void QSSnoozeManager::wakeupMessage(const MessageRef& message) {
    const std::string messageID = message->messageID();
    if (messageID.empty()) return logWarning("Message does not have a message-id. Cannot perform wake-up!");
    const auto info = infoFor(messageID);
    auto target = mailboxWithPersistentIdentifier(info ? info->QSSnoozeOriginalMailboxIdentifier : std::string());
    if (!target) {
        logWarning("Could not find target mailbox for snoozed message. Will wake-up in inbox");
        const auto account = message->account();
        target = account ? account->inboxMailboxCreateIfNeeded(true) : nullptr;
        if (!target) return;
    }
    if (!target->isValidGmailLabel()) return moveAllCopies(message, messageID, *target);
    const auto snooze = snoozeMailboxOf(*message, false);
    const bool isLabelled = snooze && snooze->isValidGmailLabel() && bearsLabel(*message, snooze);
    changeGmailLabels(message, {target}, isLabelled ? Mailboxes{snooze} : Mailboxes{});
}

void QSSnoozeManager::setMessageAwake(const MessageRef& message) {
    const std::string messageID = message->messageID();
    if (messageID.empty())
        return logWarning("Could not get message ID for snoozed message. Cannot mark message as awake");
    RunLoop::main().after(kAwakeDelay, [message, messageID, alive = std::weak_ptr(alive_)] {
        if (alive.expired()) return;
        markCopiesUnread(messageID);
        if (osMinor() < 11) return;
        RunLoop::main().after(kAwakeDelay, [message, messageID, alive] {
            if (!alive.expired()) tellAsNewMail(message, messageID);
        });
    });
    removeSnoozeInfoForMessageID(messageID);
    if (const auto account = message->account()) account->doRoutineCleanup();
}

void QSSnoozeManager::unsnoozeMessageWithMessageID(const std::string& messageID, bool moveBack) {
    const auto message = snoozedMessageWithMessageID(messageID);
    if (!message) return;
    if (!moveBack) return setMessageAwake(message);
    RunLoop::main().post([this, message, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) wakeupMessage(message);
    });
}

void QSSnoozeManager::messageWasAdded(const MessageRef& message) {
    const std::string messageID = message->messageID();
    if (!isSnoozedMessageWithMessageID(messageID)) return;
    const auto snooze = snoozeMailboxOf(*message, false);
    displayCountDidChange(snooze);
    const auto mailbox = message->mailbox();
    if (isItTimeToWakeUpForMessageID(messageID))
        setMessageAwake(message);
    else if (!mailbox || !isSame(*mailbox, snooze))
        unsnoozeMessageWithMessageID(messageID, false);  // moved by the person before its time
}

void QSSnoozeManager::gmailLabelChanged(const Notification& notification) {
    const Value messages = notification.userInfo["messages"];
    const auto library = Library::shared();
    if (notification.name != MFLibraryMessagesGmailLabelsChangedNotification || !library ||
        messages.type() != Value::Type::Array)
        return;
    for (const Value& id : messages.array()) {
        const auto message = library->messageWithLibraryID(id.integerValue());
        const std::string messageID = message ? message->messageID() : std::string();
        if (!isSnoozedMessageWithMessageID(messageID)) continue;
        const auto snooze = snoozeMailboxOf(*message, false);
        displayCountDidChange(snooze);
        if (isItTimeToWakeUpForMessageID(messageID)) {
            setMessageAwake(message);
        } else if (!bearsLabel(*message, snooze)) {
            removeSnoozeInfoForMessageID(messageID);
            return;  // the others of this notification are left to the timer
        }
    }
}

}  // namespace qs
