#include "Reminder/ReminderSettings.h"

#include <algorithm>

#include "Core/QSSession.h"
#include "Core/SetAsideRecords.h"
#include "Foundation/Format.h"
#include "Reminder/QSRemindersManager.h"
#include "Services/QSService.h"

namespace qs {

namespace {

using List = QSRemindersManager::List;

QSRemindersManager& manager() { return QSRemindersManager::sharedManager(); }

std::vector<FormOption> optionsOf(const QSRemindersManager::Lists& lists) {
    std::vector<FormOption> options;
    for (const List& list : lists)
        options.push_back({.title = list->name().value_or(""),
                           .value = list->uniqueIdentifier().value_or(""),
                           .imageName = list->icon()});
    return options;
}

std::string obstacle() {
    if (manager().hasReminderService() && !manager().allLists().empty()) return {};
    return QSLocalizedString("Please link Quillstead to a service for tasks first.");
}

// It goes out as a new one, for its service has deleted it: into its list or, when that is gone, into the first one.
void prepare(ManagedObject& record) {
    auto& reminder = dynamic_cast<QSReminder&>(record);
    List list = reminder.list();
    const auto lists = manager().allLists();
    if (std::ranges::find(lists, list) == lists.end()) list = lists.front();
    reminder.setList(list);
    reminder.setServiceIdentifier(list->serviceIdentifier());
    reminder.setIsRemote(false);
    reminder.setDirty(reminder.completed());  // what is done is no part of a new one
}

// Also where it is remembered for the next time that the services are saved.
void choose(const std::string& accountIdentifier, const std::string& listIdentifier) {
    const auto list = manager().listWithIdentifier(listIdentifier);
    if (!list) return;
    manager().setDefaultList(list, accountIdentifier);
    for (QSMailAccountSettings& account : QSServicesManager::sharedManager().mailAccountSettings())
        if (account.identifier == accountIdentifier) account.defaultReminderList = list;
}

}  // namespace

std::vector<FormControl> defaultReminderListControls() {
    const auto lists = manager().hasReminderService() ? manager().allLists() : QSRemindersManager::Lists();
    if (lists.empty()) {
        FormControl text{.kind = FormControl::Kind::Text, .id = "noReminderLists"};
        text.value = QSLocalizedString("There is no list for tasks yet. Link a service for tasks above.");
        return {std::move(text)};
    }
    std::vector<FormControl> controls;
    for (const QSMailAccountSettings& account : QSServicesManager::sharedManager().mailAccountSettings()) {
        FormControl control{.kind = FormControl::Kind::PopUp, .id = "defaultReminderList:" + account.identifier};
        control.label = stringWithFormat(QSLocalizedString("List for %@"), {account.name});
        control.options = optionsOf(lists);
        if (const auto list = manager().defaultListForAccountIdentifier(account.identifier))
            control.value = list->uniqueIdentifier().value_or("");
        control.onChange = [identifier = account.identifier](const Value& value) {
            choose(identifier, value.stringValue());
        };
        controls.push_back(std::move(control));
    }
    return controls;
}

std::vector<FormControl> setAsideReminderControls() {
    return setAsideControls({.entity = QSReminder::kEntityName,
                             .identifier = "setAsideReminders",
                             .label = QSLocalizedString("Tasks and follow-ups that were removed"),
                             .imageName = "plugin:TB_Task",
                             .cannotBringBack = QSLocalizedString("The Task Can't Be Brought Back"),
                             .obstacle = obstacle,
                             .prepare = prepare,
                             .wasBroughtBack = [] {
                                 manager().syncWithServices();
                                 QSRemindersManager::remindersDidChange();
                             }});
}

QSAccountChoice defaultReminderListChoice() {
    return {.get = [](const std::string& identifier) -> std::shared_ptr<ManagedObject> {
                return manager().hasReminderService() ? manager().defaultListForAccountIdentifier(identifier) : nullptr;
            },
            .set =
                [](const std::shared_ptr<ManagedObject>& chosen, const std::string& identifier) {
                    const auto list = std::dynamic_pointer_cast<QSReminderList>(chosen);
                    if (list && !list->isDeleted()) manager().setDefaultList(list, identifier);
                }};
}

}  // namespace qs
