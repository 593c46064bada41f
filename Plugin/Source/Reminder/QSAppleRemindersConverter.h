// Keeps reminders among the person's own, which other programs share (ReminderStore.h). There is no account to link.
// Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/NotificationCenter.h"
#include "Reminder/QSReminderConverter.h"
#include "Reminders/ToDo.h"

namespace qs {

class QSReminderList;
class ReminderStore;

class QSAppleRemindersConverter : public QSReminderConverter {
public:
    // Asks for access once in the plug-in's life; without it nothing below does anything, and no handler is called.
    explicit QSAppleRemindersConverter(std::weak_ptr<QSService> service = {});

    bool respondsTo(QSSlaveOperation operation) const override;
    // Brings the lists into step, then reads back the reminders that are known here, of lists that are a default.
    void sync() override;

    void convertReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                         const Failure& failure) override;
    void updateReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                        const Failure& failure) override;
    void deleteReminder(const std::shared_ptr<QSReminder>& reminder) override;

    // The chosen list, one that bears the plug-in's name, or a new one; nothing when that can't be made.
    std::optional<ToDoList> fallbackCalendar();

private:
    void _updateLists();
    std::shared_ptr<QSReminderList> addList(const ToDoList& calendar);
    void readBack(const std::vector<ToDo>& toDos);

    std::shared_ptr<ReminderStore> sharedEventStore_;
    ObservationRef storeChanged_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
