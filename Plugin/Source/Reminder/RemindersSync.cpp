// The manager's pass: new and changed reminders go to the workers of their services.
#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/UserNotice.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Reminder/QSReminderConverter.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminder/QSTaskOptionsViewController.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"

namespace qs {

namespace {

using Reminder = QSRemindersManager::Reminder;

void tellOfNewReminder(const QSService& service) {
    showUserNotification(
        QSLocalizedString("Reminder created"),
        stringWithFormat(QSLocalizedString("A reminder was successfully created at %@."), {service.name()}));
}

std::string textOf(const std::optional<Error>& error) { return error ? error->description : "(null)"; }

}  // namespace

QSRemindersManager::QSRemindersManager() : pass_([this] { syncWithServices(); }) {}

QSRemindersManager::~QSRemindersManager() = default;

std::shared_ptr<Menu> QSRemindersManager::tasksOptionsMenu() {
    if (!taskOptions_) taskOptions_ = std::make_shared<QSTaskOptionsViewController>();
    return taskOptions_->menu();
}

void QSRemindersManager::syncWithServices() {
    if (!hasReminderService()) return;
    if (transferReminders(pendingReminders(), Transfer::New)) transferReminders(dirtyReminders(), Transfer::Changed);
    QSPluginDelegate::sharedDelegate().saveCoreData();
}

// False where the pass ends: one reminder without a service is dealt with in each. One that can't be set aside keeps
// nobody waiting.
bool QSRemindersManager::transferReminders(const Reminders& reminders, Transfer transfer) {
    for (const Reminder& reminder : reminders) {
        if (reminder->transmitting() || !reminder->messageID()) continue;
        const auto service =
            QSServicesManager::sharedManager().serviceWithIdentifier(reminder->serviceIdentifier().value_or(""));
        if (!service) {
            logWarning("Could not find service for this reminder. Deleting it.");
            deleteReminders({reminder}, QSLocalizedString("Its service is not there any more."));
            if (reminder->isDeleted()) return false;
            continue;
        }
        auto* slave = reminderSlaveOf(service);
        if (!slave) {
            logWarning("Could not find service connector for this reminder. Deleting it.");
            deleteReminders({reminder}, QSLocalizedString("Its service takes no reminders."));
            if (reminder->isDeleted()) return false;
            continue;
        }
        reminder->setTransmitting(true);
        transmit(*slave, reminder, service, transfer);
    }
    return true;
}

void QSRemindersManager::transmit(QSReminderServiceSlaveProtocol& slave, const Reminder& reminder,
                                  const std::shared_ptr<QSService>& service, Transfer transfer) {
    const bool isNew = transfer == Transfer::New;
    const auto succeeded = [reminder, service, isNew](const Reminder& received) {
        assertThat(received == reminder, "Reminder object was changed!");
        reminder->setIsRemote(true);
        reminder->setTransmitting(false);
        if (!QSSession::currentIfLoaded()) return;
        if (isNew)
            tellOfNewReminder(*service);
        else
            reminder->setDirty(false);
        QSPluginDelegate::sharedDelegate().saveCoreData();
    };
    const auto failed = [reminder, service, isNew](const std::optional<Error>& error) {
        if (isNew)
            logError(stringWithFormat("Failed to convert local reminder to service '%@': %@",
                                      {service->name(), textOf(error)}));
        else
            logError(stringWithFormat("Failed to update remote reminder at service '%@': %@",
                                      {service->name(), textOf(error)}));
        reminder->setTransmitting(false);
    };
    if (!isNew) return slave.updateReminder(reminder, succeeded, failed);
    if (reminder->title().value_or("").empty()) reminder->setTitle(QSLocalizedString("Quillstead Reminder"));
    slave.convertReminder(reminder, succeeded, failed);
}

}  // namespace qs
