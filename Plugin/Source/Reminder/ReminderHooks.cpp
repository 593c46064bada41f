#include "Reminder/ReminderHooks.h"

#include "Compose/HeadersEditor.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/QSSendHooks.h"
#include "Reminder/FollowUpRow.h"
#include "Reminder/QSRemindersManager.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

QSRemindersManager& manager() { return QSRemindersManager::sharedManager(); }

// The message stands in the outbox. Its Message-Id is not the reminder's before it has been delivered.
void createFollowUp(HeadersEditor& editor, const MessageRef& message, MailAccount& account) {
    const auto list = manager().defaultListForAccountIdentifier(account.identifier());
    if (!list) return;
    const auto headers = message->headersIfAvailable();
    const auto reminder = manager().addReminderWithIdentifier(
        headers ? headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier) : std::nullopt,
        list->serviceIdentifier());
    if (!reminder) return;
    reminder->setTitle(stringWithFormat("%@ %@", {QSLocalizedString("Follow-Up:"), message->subject()}));
    reminder->setDueDate(followUpDateOf(editor));
    reminder->setType(kReminderTypeFollowUp);
    reminder->setPriority(message->priority());
    reminder->setList(list);
    QSPluginDelegate::sharedDelegate().saveCoreData();
}

void followUpWasDelivered(const std::string& uniqueID, const std::optional<std::string>& messageID,
                          const std::string& notes) {
    const auto reminder = manager().reminderWithIdentifier(uniqueID);
    if (!reminder) return;
    reminder->setMessageID(messageID);
    reminder->setNotes(notes);
    QSPluginDelegate::sharedDelegate().saveCoreData();  // also where no service can take it now
    manager().syncWithServices();
}

void messagesWereAnswered(const std::vector<std::string>& messageIDs) {
    RunLoop::main().post([messageIDs] {
        if (!QSSession::currentIfLoaded()) return;
        if (!QSPluginDelegate::quillsteadDefaults().boolForKey("QSDeleteFollowUpReminderOnReply")) return;
        const auto followUps = manager().remindersForMessageIDs(messageIDs, kReminderTypeFollowUp);
        if (followUps.empty()) return;
        manager().deleteReminders(followUps, QSLocalizedString("A reply has arrived."));
        QSRemindersManager::remindersDidChange();
    });
}

}  // namespace

void installReminderHooks(QSSession& session) {
    auto& hooks = session.sendHooks();
    hooks.createFollowUp = createFollowUp;
    hooks.followUpWasDelivered = followUpWasDelivered;
    hooks.messagesWereAnswered = [others = hooks.messagesWereAnswered](const std::vector<std::string>& messageIDs,
                                                                       Date received) {
        if (others) others(messageIDs, received);
        messagesWereAnswered(messageIDs);
    };
}

}  // namespace qs
