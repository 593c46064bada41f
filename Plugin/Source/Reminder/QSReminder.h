// A to-do that belongs to a mail, and a list of such at a task service, in the object store. Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Store/ManagedObject.h"

namespace qs {

class QSReminderList;

// Values of QSReminder::type().
inline constexpr std::int64_t kReminderTypeFollowUp = 0;
inline constexpr std::int64_t kReminderTypeTask = 1;

class QSReminder : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "Reminder";
    static constexpr Attribute<bool> kCompleted{"completed"};
    static constexpr Attribute<Date> kCompletionDate{"completionDate"};
    static constexpr Attribute<Date> kDueDate{"dueDate"};
    static constexpr Attribute<bool> kIsRemote{"isRemote"};
    static constexpr Attribute<std::string> kMessageID{"messageID"};
    static constexpr Attribute<std::string> kNotes{"notes"};
    static constexpr Attribute<std::int64_t> kPriority{"priority"};
    static constexpr Attribute<std::string> kServiceIdentifier{"serviceIdentifier"};
    static constexpr Attribute<std::string> kTitle{"title"};
    static constexpr Attribute<std::int64_t> kType{"type"};
    static constexpr Attribute<std::string> kUniqueIdentifier{"uniqueIdentifier"};
    static constexpr ToOne<QSReminderList> kList{"list"};

    bool completed() const { return get(kCompleted).value_or(false); }
    void setCompleted(bool flag) { set<bool>(kCompleted, flag); }
    std::optional<Date> completionDate() const { return get(kCompletionDate); }
    void setCompletionDate(std::optional<Date> date) { set(kCompletionDate, date); }
    std::optional<Date> dueDate() const { return get(kDueDate); }
    void setDueDate(std::optional<Date> date) { set(kDueDate, date); }
    bool isRemote() const { return get(kIsRemote).value_or(false); }  // the service holds it
    void setIsRemote(bool flag) { set<bool>(kIsRemote, flag); }
    std::optional<std::string> messageID() const { return get(kMessageID); }  // a follow-up has none until delivery
    void setMessageID(const std::optional<std::string>& id) { set(kMessageID, id); }
    std::optional<std::string> notes() const { return get(kNotes); }
    void setNotes(const std::optional<std::string>& notes) { set(kNotes, notes); }
    std::int64_t priority() const { return get(kPriority).value_or(0); }  // the mail's; 1 is high
    void setPriority(std::int64_t priority) { set<std::int64_t>(kPriority, priority); }
    std::optional<std::string> serviceIdentifier() const { return get(kServiceIdentifier); }  // of the linked QSService
    void setServiceIdentifier(const std::optional<std::string>& id) { set(kServiceIdentifier, id); }
    std::optional<std::string> title() const { return get(kTitle); }
    void setTitle(const std::optional<std::string>& title) { set(kTitle, title); }
    std::int64_t type() const { return get(kType).value_or(kReminderTypeFollowUp); }
    void setType(std::int64_t type) { set<std::int64_t>(kType, type); }
    std::optional<std::string> uniqueIdentifier() const { return get(kUniqueIdentifier); }
    void setUniqueIdentifier(const std::optional<std::string>& id) { set(kUniqueIdentifier, id); }
    std::shared_ptr<QSReminderList> list() const;
    void setList(const std::shared_ptr<QSReminderList>& list);

    std::optional<std::string> messageURLString() const;  // "message://..."; none without a messageID
    // Whichever of the two there is, or none.
    std::optional<std::string> notesIncludingMessageURLStringInSingleLine(bool isSingleLine) const;

    // In memory only: a transfer is under way; the service does not know the last change.
    bool transmitting() const { return flag(0); }
    void setTransmitting(bool value) { setFlag(0, value); }
    bool dirty() const { return flag(1); }
    void setDirty(bool value) { setFlag(1, value); }

protected:
    void awakeFromInsert() override;
};

class QSReminderList : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "ReminderList";
    static constexpr Attribute<std::string> kName{"name"};
    static constexpr Attribute<std::string> kServiceIdentifier{"serviceIdentifier"};
    static constexpr Attribute<std::string> kUniqueIdentifier{"uniqueIdentifier"};
    static constexpr ToMany<QSReminder> kReminders{"reminders"};

    std::optional<std::string> name() const { return get(kName); }
    void setName(const std::optional<std::string>& name) { set(kName, name); }
    std::optional<std::string> serviceIdentifier() const { return get(kServiceIdentifier); }
    void setServiceIdentifier(const std::optional<std::string>& id) { set(kServiceIdentifier, id); }
    std::optional<std::string> uniqueIdentifier() const { return get(kUniqueIdentifier); }  // the service's own
    void setUniqueIdentifier(const std::optional<std::string>& id) { set(kUniqueIdentifier, id); }
    std::vector<std::shared_ptr<QSReminder>> reminders() const { return get(kReminders); }
    std::string icon() const;  // of its service, as a picture's name for models; empty when that is gone
};

}  // namespace qs
