// To-dos that belong to mails, and the lists that they go to: finds, makes and deletes them in the object store, keeps
// the default list of each mail account, and hands new and changed ones to the workers of their services.
//
// Main thread. Changes of the lists are told by the key "allLists".
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "Foundation/Date.h"
#include "Reminder/QSReminder.h"
#include "Services/ServicePass.h"

namespace qs {

class Menu;
class QSReminderServiceSlaveProtocol;
class QSService;
class QSTaskOptionsViewController;

class QSRemindersManager : public QSKeyValueChanges {
public:
    using Reminder = std::shared_ptr<QSReminder>;
    using Reminders = std::vector<Reminder>;
    using List = std::shared_ptr<QSReminderList>;
    using Lists = std::vector<List>;
    using MaybeText = std::optional<std::string>;

    static QSRemindersManager& sharedManager();  // the session's, made at the first call
    QSRemindersManager();
    ~QSRemindersManager() override;

    bool hasReminderService() const;
    // Of the "Tasks" toolbar item; made once.
    std::shared_ptr<Menu> tasksOptionsMenu();

    Lists allLists() const;  // by service, then by name
    // The one that is there, or a new one. Null without an identifier or a service, with a line in the log.
    List addListWithIdentifier(const MaybeText& identifier, const MaybeText& serviceIdentifier);
    List listWithIdentifier(const std::string& identifier) const;  // null for none
    Lists listsWithServiceIdentifier(const std::string& serviceIdentifier) const;
    // Of every account, its default list if that is one of the service's: one may stand there twice.
    Lists defaultListsWithServiceIdentifier(const std::string& serviceIdentifier) const;
    void changeAllLists(const std::function<void()>& change);  // tells of it once, before and after
    void deleteLists(const Lists& lists);                      // their reminders stay, without a list
    void setDefaultList(const List& list, const std::string& forAccountIdentifier);
    List defaultListForAccountIdentifier(const std::string& identifier) const;  // null for none
    void setDefaultFallbackList(const List& list);                              // of every account that has none

    // Likewise.
    Reminder addReminderWithIdentifier(const MaybeText& identifier, const MaybeText& serviceIdentifier);
    void deleteReminder(const Reminder& reminder);  // at its service, too
    void deleteReminders(const Reminders& reminders);
    Reminder reminderWithIdentifier(const MaybeText& identifier) const;
    Reminders remindersForMessageID(const MaybeText& messageID) const;
    Reminders remindersForMessageID(const MaybeText& messageID, std::int64_t ofType) const;
    Reminders remindersForMessageIDs(const std::vector<std::string>& messageIDs) const;
    Reminders remindersForMessageIDs(const std::vector<std::string>& messageIDs, std::int64_t ofType) const;
    Reminders pendingReminders() const;  // those that their service doesn't hold yet
    Reminders pendingRemindersForMessageID(const std::string& messageID) const;
    Reminders dirtyReminders() const;

    // Hands new and changed reminders to their services; also as ServicePass says.
    void syncWithServices();
    // Deletes reminders that the person did not delete: each is written to the recovery folder first, and stays where
    // that fails.
    void deleteReminders(const Reminders& reminders, std::string_view forReason);

    // The list, the banners and the file on the disk follow what has changed.
    static void remindersDidChange();

private:
    enum class Transfer { New, Changed };
    bool transferReminders(const Reminders& reminders, Transfer transfer);
    void transmit(QSReminderServiceSlaveProtocol& slave, const Reminder& reminder,
                  const std::shared_ptr<QSService>& service, Transfer transfer);

    ServicePass pass_;
    std::shared_ptr<QSTaskOptionsViewController> taskOptions_;
};

}  // namespace qs
