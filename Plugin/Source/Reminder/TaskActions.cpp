#include "Reminder/TaskActions.h"

#include <map>

#include "Core/PluginColor.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageColor.h"
#include "Models/Alert.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminder/QSTaskOptionsViewController.h"
#include "Settings/UserDefaults.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

using Task = std::shared_ptr<QSReminder>;

QSRemindersManager& manager() { return QSRemindersManager::sharedManager(); }
UserDefaults& settings() { return QSPluginDelegate::quillsteadDefaults(); }

Task newTask(const Message& message) {
    const auto account = message.account();
    const auto list = manager().defaultListForAccountIdentifier(account ? account->identifier() : std::string());
    if (!list) {
        beep();
        logWarning("Could not find a valid target list for creating a new task. Exiting...");
        return nullptr;
    }
    const auto task = manager().addReminderWithIdentifier(newUUIDString(), list->serviceIdentifier());
    if (!task) return nullptr;
    task->setType(kReminderTypeTask);
    task->setPriority(message.priority());
    task->setList(list);
    task->setMessageID(message.messageID());
    task->setTitle(stringWithFormat("%@ %@", {QSLocalizedString("Task:"), message.subject()}));
    return task;
}

void highlight(Message& message, const QSReminder& task) {
    if (!settings().boolForKey("QSHighlightReminderMessages")) return;
    std::optional<Color> color;
    if (!task.completed()) color = lightPluginColor();
    message::setColor(message, color);
}

struct TargetedIDs {
    std::vector<std::int64_t> messages;
    std::vector<std::string> ids;
};

// Toolbars are validated with every redraw, and thousands of messages may be selected: their ids are read once.
std::vector<std::string> messageIDsOf(ToolbarItem& item, const MessageList& messages) {
    constexpr const char* kTargeted = "quillstead_targetedIDs";
    auto known = std::make_shared<TargetedIDs>();
    for (const MessageRef& message : messages)
        known->messages.push_back(message->libraryID());
    if (const auto before = item.associated<std::shared_ptr<TargetedIDs>>(kTargeted);
        before && before->messages == known->messages)
        return before->ids;
    for (const MessageRef& message : messages)
        if (std::string id = message->messageID(); !id.empty()) known->ids.push_back(std::move(id));
    item.setAssociatedObject(kTargeted, known);
    return known->ids;
}

Task firstTask(const std::vector<std::string>& messageIDs) {
    std::map<std::string, Task> tasks;
    for (const Task& task : manager().remindersForMessageIDs(messageIDs, kReminderTypeTask))
        tasks.emplace(task->messageID().value_or(""), task);
    for (const std::string& id : messageIDs)
        if (const auto found = tasks.find(id); found != tasks.end()) return found->second;
    return nullptr;
}

// Of one message; false when nothing was done.
bool updateTask(Message& message, bool isToggle, std::optional<Date> dueDate) {
    const std::string messageID = message.messageID();
    if (messageID.empty()) {
        beep();
        logWarning("This message does not have a valid messageID, cannot create a task for it!");
        return false;
    }
    const auto known = manager().remindersForMessageID(messageID, kReminderTypeTask);
    Task task = known.empty() ? newTask(message) : known.front();
    if (!task) return false;
    if (!known.empty()) {
        if (isToggle) task->setCompleted(!task->completed());
        task->setDirty(true);
    }
    if (!isToggle) {
        task->setDueDate(dueDate);
        if (const Value note = settings().objectForKey(kTaskNoteKey); !note.isNil()) {
            const std::string text = note.stringValue();
            task->setNotes(text.empty() ? std::nullopt : std::optional(text));
        }
    }
    highlight(message, *task);
    return true;
}

}  // namespace

void updateTasks(const MessageList& messages, const HostObject* sender) {
    const bool isToggle = meansToggle(sender);
    std::optional<Date> dueDate;
    if (settings().boolForKey(kTaskSetDueDateKey)) dueDate = settings().objectForKey(kTaskDueDateKey).dateValue();
    bool touched = false;
    for (const MessageRef& message : messages)
        if (updateTask(*message, isToggle, dueDate)) touched = true;
    for (const char* key : {kTaskNoteKey, kTaskSetDueDateKey, kTaskDueDateKey})
        settings().removeObjectForKey(key);
    if (!touched) return;
    manager().syncWithServices();
    QSRemindersManager::remindersDidChange();
}

bool validateTasksItem(ToolbarItem& item, const MessageList& messages) {
    const auto holder = item.menu ? item.menu->itemAtIndex(0) : nullptr;
    if (messages.empty()) {
        if (holder) holder->setRepresentedObject(nullptr);
        return false;
    }
    const Task task = firstTask(messageIDsOf(item, messages));
    const bool isOpen = task && !task->completed();
    item.imageName = isOpen ? "plugin:TB_Task" : "plugin:TB_TaskUnchecked";
    item.toolTip = QSLocalizedString(!task    ? "Create task for email"
                                     : isOpen ? "Mark task as completed"
                                              : "Mark task as uncompleted");
    if (holder) holder->setRepresentedObject(task ? std::make_shared<RepresentedReminder>(task) : nullptr);
    return true;
}

}  // namespace qs
