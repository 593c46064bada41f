// The person's reminders: lists of to-dos that other programs share. They lie in a folder as programs that synchronise
// with servers keep them (vdir): each list a folder with one iCalendar file (*.ics) for each to-do, its title in the
// file "displayname", its colour in "color". A folder that only holds lists stands for an account at a server.
//
// Safe from every thread. The first question after a change reads the files that changed; all others are answered from
// memory. Writing keeps everything in a file that isn't changed, and leaves the old file or the new one, whole.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Reminders/ToDo.h"

namespace qs {

class FileSystem;
struct Color;

inline constexpr std::string_view kReminderStoreErrorDomain = "Reminders";
enum ReminderStoreErrorCode {
    kReminderStoreNotFound = 1,  // the list or the to-do is not there, or not any more
    kReminderStoreReadOnly = 2,
    kReminderStoreRefused =
        3,  // it would not be found again: the list is full, or no file holds its identifier as it is
    kReminderStoreUnreadable = 4  // for the moment; nothing is known of what is there
};

// Posted on NotificationCenter::defaultCenter() when anybody has changed the reminders; main thread. Several changes
// are told once.
inline constexpr std::string_view ReminderStoreChangedNotification = "ReminderStoreChangedNotification";

class ReminderStore {
public:
    virtual ~ReminderStore() = default;
    // Touches nothing yet. `isFollowed`: from the first question on the folders are watched; else what other programs
    // change is seen by reload() alone.
    static std::shared_ptr<ReminderStore> inFolder(std::filesystem::path folder, FileSystem& files, bool isFollowed);

    // Whether the reminders may be read and written; makes their folder. The rest works without having asked.
    virtual Result<void> requestAccess() = 0;
    // Those with at least one list, by title; the machine's own first. Where there is no list at all, the machine's
    // own, as far as a list can be made there.
    virtual std::vector<ToDoSource> sources() = 0;
    // By source and title. Fails while some folder can't be looked into: what can't be seen is not gone.
    virtual Result<std::vector<ToDoList>> lists() = 0;
    virtual std::optional<ToDoList> listWithIdentifier(std::string_view identifier) = 0;
    // A title that a list of that source has already gets a folder of its own all the same.
    virtual Result<ToDoList> addList(std::string_view title, const Color& color, const ToDoSource& source) = 0;

    virtual std::optional<ToDo> toDoWithIdentifier(std::string_view identifier) = 0;
    // Off the calling thread; `completion` comes on the main thread, or not at all when the run loop ends before.
    virtual void fetchToDos(const std::string& listIdentifier, std::function<void(std::vector<ToDo>)> completion) = 0;
    // A new to-do goes into its list; one that is there is changed where it is. Durable when this returns.
    virtual Result<ToDo> save(const ToDo& toDo) = 0;
    virtual Result<void> remove(std::string_view identifier) = 0;
    virtual void reload() = 0;
};

}  // namespace qs
