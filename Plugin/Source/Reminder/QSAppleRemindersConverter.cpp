#include "Reminder/QSAppleRemindersConverter.h"

#include <algorithm>

#include "Core/PluginColor.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Models/ModelChanges.h"
#include "Platform.h"
#include "Reminder/QSReminder.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminders/ReminderStore.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"

namespace qs {

namespace {

constexpr const char* kFollowUpList = "FollowUpList";
constexpr const char* kOurName = "Quillstead";

using Reminder = std::shared_ptr<QSReminder>;

// The answer counts for the whole plug-in.
struct Access {
    bool accessGranted = false;
};
bool& accessGranted() { return QSSession::current().part<Access>().accessGranted; }

QSRemindersManager& manager() { return QSRemindersManager::sharedManager(); }

void tellUnreadable(const Error& error) {
    logWarning("The reminders can't be read now; trying again later. " + error.description);
}

struct PriorityPair {
    std::int64_t mail;
    int toDo;
};
constexpr PriorityPair kPriorities[] = {{5, 9}, {3, 5}, {1, 1}};

// A date that was taken away goes there as well; else it would come back with the next sync.
void fill(ToDo& toDo, const QSReminder& reminder) {
    toDo.title = reminder.title().value_or("");
    toDo.notes = reminder.notesIncludingMessageURLStringInSingleLine(true).value_or("");
    if (const auto url = reminder.messageURLString()) toDo.url = *url;
    toDo.due = reminder.dueDate();
    for (const auto& [mail, priority] : kPriorities)
        if (reminder.priority() == mail) toDo.priority = priority;
}

// As it stands in the file, which knows whole seconds: the next look at it shall find nothing new.
void takeOver(QSReminder& reminder, const ToDo& saved) {
    reminder.setUniqueIdentifier(saved.identifier);
    if (saved.due && reminder.dueDate()) reminder.setDueDate(saved.due);
    reminder.setCompletionDate(saved.completionDate);
}

// Whether the reminder says anything new then.
bool readInto(QSReminder& reminder, const ToDo& toDo, const std::string& serviceIdentifier) {
    bool changed = false;
    const auto when = [&](bool differs, auto&& set) {
        if (differs) set();
        changed = changed || differs;
    };
    when(toDo.due && toDo.due != reminder.dueDate(), [&] { reminder.setDueDate(toDo.due); });
    when(toDo.isCompleted != reminder.completed(), [&] { reminder.setCompleted(toDo.isCompleted); });
    when(toDo.isCompleted && toDo.completionDate != reminder.completionDate(),
         [&] { reminder.setCompletionDate(toDo.completionDate); });
    when(!reminder.isRemote(), [&] { reminder.setIsRemote(true); });
    when(reminder.serviceIdentifier() != serviceIdentifier, [&] { reminder.setServiceIdentifier(serviceIdentifier); });
    for (const auto& [mail, priority] : kPriorities)
        when(toDo.priority == priority && reminder.priority() != mail, [&] { reminder.setPriority(mail); });
    return changed;
}

}  // namespace

QSAppleRemindersConverter::QSAppleRemindersConverter(std::weak_ptr<QSService> service)
    : QSReminderConverter(std::move(service)), sharedEventStore_(Platform::current().reminders) {
    if (!sharedEventStore_) return;
    if (!accessGranted()) {
        const auto asked = sharedEventStore_->requestAccess();
        accessGranted() = asked.has_value();
        if (!asked)
            logError(stringWithFormat("Could not get access to Apple Reminder store: %@", {asked.error().description}));
    }
    storeChanged_ = NotificationCenter::defaultCenter().addObserver(
        std::string(ReminderStoreChangedNotification), [this](const Notification&) {
            const auto own = this->service();
            if (QSSession::currentIfLoaded() && own && own->linked()) sync();
        });
}

bool QSAppleRemindersConverter::respondsTo(QSSlaveOperation operation) const {
    return operation == QSSlaveOperation::Sync || QSReminderConverter::respondsTo(operation);
}

std::optional<ToDoList> QSAppleRemindersConverter::fallbackCalendar() {
    const auto own = service();
    if (own)
        if (const auto chosen = own->credentials().find(kFollowUpList); chosen != own->credentials().end())
            if (auto list = sharedEventStore_->listWithIdentifier(chosen->second.stringValue())) return list;
    const auto lists = sharedEventStore_->lists();
    if (!lists) {
        tellUnreadable(lists.error());
        return std::nullopt;
    }
    for (const ToDoList& list : *lists)
        if (list.title.find(kOurName) != std::string::npos) return list;
    // Of an account at a server rather than the machine's own; of several the last.
    const auto sources = sharedEventStore_->sources();
    if (sources.empty()) {
        logError("ERROR: No reminder source available.");
        return std::nullopt;
    }
    ToDoSource source;
    for (const auto kind : {ToDoSource::Kind::Local, ToDoSource::Kind::Exchange, ToDoSource::Kind::CalDav})
        for (const ToDoSource& each : sources)
            if (each.kind == kind) source = each;
    auto made = sharedEventStore_->addList(kOurName, kPluginColor, source);
    if (made) return *made;
    logError(stringWithFormat("ERROR: Could not save calendar for reminders: %@", {made.error().description}));
    return std::nullopt;
}

void QSAppleRemindersConverter::convertReminder(const Reminder& reminder, const Success& success,
                                                const Failure& failure) {
    if (!sharedEventStore_ || !accessGranted()) return;
    const auto list = reminder->list();
    const auto calendar =
        list ? sharedEventStore_->listWithIdentifier(list->uniqueIdentifier().value_or("")) : std::nullopt;
    if (!calendar)
        return failure(Error{
            kReminderConverterErrorDomain, 0, QSLocalizedString("Could not find or create target calendar list."), {}});
    const std::string identifier = reminder->uniqueIdentifier().value_or("");
    auto toDo = sharedEventStore_->toDoWithIdentifier(identifier);
    // A new one gets the same identifier: it is found by that when the answer to the first attempt was lost.
    if (!toDo) toDo = ToDo{.identifier = identifier, .listIdentifier = calendar->identifier};
    fill(*toDo, *reminder);
    const auto saved = sharedEventStore_->save(*toDo);
    if (!saved) return failure(saved.error());
    takeOver(*reminder, *saved);
    success(reminder);
}

void QSAppleRemindersConverter::updateReminder(const Reminder& reminder, const Success& success,
                                               const Failure& failure) {
    constexpr int kNotFound = 12345678;
    if (!sharedEventStore_ || !accessGranted()) return;
    auto toDo = sharedEventStore_->toDoWithIdentifier(reminder->uniqueIdentifier().value_or(""));
    if (!toDo) {
        const char* text = "Failed to find reminder in Apple Reminders application.";
        logError(text);
        return failure(Error{"com.tallowbay.Quillstead.error", kNotFound, QSLocalizedString(text), {}});
    }
    fill(*toDo, *reminder);
    toDo->isCompleted = reminder->completed();
    toDo->completionDate = std::nullopt;
    if (toDo->isCompleted) toDo->completionDate = reminder->completionDate().value_or(RunLoop::main().now());
    const auto saved = sharedEventStore_->save(*toDo);
    if (!saved) return failure(saved.error());
    takeOver(*reminder, *saved);
    success(reminder);
}

void QSAppleRemindersConverter::deleteReminder(const Reminder& reminder) {
    if (!sharedEventStore_ || !accessGranted()) return;
    const std::string identifier = reminder->uniqueIdentifier().value_or("");
    if (!sharedEventStore_->toDoWithIdentifier(identifier)) return;
    if (!sharedEventStore_->remove(identifier)) logError("Failed to delete reminder from Apple Reminders application.");
}

void QSAppleRemindersConverter::sync() {
    const auto own = service();
    if (!sharedEventStore_ || !accessGranted() || !own || !own->uniqueIdentifier()) return;
    // Lists that can't be seen for the moment are not gone.
    if (const auto readable = sharedEventStore_->requestAccess(); !readable) return tellUnreadable(readable.error());
    _updateLists();
    RunLoop::main().post([this, alive = std::weak_ptr(alive_), identifier = *own->uniqueIdentifier()] {
        if (alive.expired()) return;
        for (const auto& list : manager().defaultListsWithServiceIdentifier(identifier)) {
            const auto calendar = sharedEventStore_->listWithIdentifier(list->uniqueIdentifier().value_or(""));
            if (!calendar) continue;
            sharedEventStore_->fetchToDos(calendar->identifier, [this, alive](const std::vector<ToDo>& toDos) {
                if (!alive.expired()) readBack(toDos);
            });
        }
    });
}

// What was changed here and not yet handed on counts more than what stands there.
void QSAppleRemindersConverter::readBack(const std::vector<ToDo>& toDos) {
    const auto own = service();
    if (!own) return;
    bool changed = false;
    for (const ToDo& toDo : toDos) {
        const auto reminder = manager().reminderWithIdentifier(toDo.identifier);
        if (!reminder || reminder->dirty() || reminder->transmitting()) continue;
        if (readInto(*reminder, toDo, own->uniqueIdentifier().value_or(""))) changed = true;
    }
    if (changed) QSRemindersManager::remindersDidChange();
}

std::shared_ptr<QSReminderList> QSAppleRemindersConverter::addList(const ToDoList& calendar) {
    const auto serviceIdentifier = service()->uniqueIdentifier();
    auto list = manager().addListWithIdentifier(calendar.identifier, serviceIdentifier);
    if (!list) return nullptr;
    const std::string name = calendar.source.title.empty()
                                 ? calendar.title
                                 : stringWithFormat("%@ | %@", {calendar.source.title, calendar.title});
    if (list->name() != name) list->setName(name);
    if (list->serviceIdentifier() != serviceIdentifier) list->setServiceIdentifier(serviceIdentifier);
    return list;
}

void QSAppleRemindersConverter::_updateLists() {
    const std::string serviceIdentifier = *service()->uniqueIdentifier();
    if (manager().listsWithServiceIdentifier(serviceIdentifier).empty()) (void)fallbackCalendar();
    const auto calendars = sharedEventStore_->lists();
    if (!calendars) return tellUnreadable(calendars.error());
    manager().changeAllLists([&] {
        auto stale = manager().listsWithServiceIdentifier(serviceIdentifier);
        for (const ToDoList& calendar : *calendars)
            if (calendar.allowsContentModifications) std::erase(stale, addList(calendar));
        manager().deleteLists(stale);
    });
    auto all = manager().allLists();
    if (all.empty())
        if (const auto calendar = fallbackCalendar())
            if (auto list = addList(*calendar)) all.push_back(std::move(list));
    if (!all.empty()) manager().setDefaultFallbackList(all.front());
    QSServicesManager::sharedManager().changedMailAccountSettings();
    noteModelChange();
}

}  // namespace qs
