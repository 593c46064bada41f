// The menu beside the "Tasks" toolbar item: due date and note of the task to make or to change. What is entered is kept
// in the settings until the task is written. Main thread.
#pragma once

#include <memory>
#include <string>

#include "Core/Store/ManagedObject.h"
#include "Foundation/Runtime.h"
#include "Models/View.h"

namespace qs {

class Menu;
class QSReminder;
struct FormModel;

inline constexpr const char* kTaskSetDueDateKey = "QSTaskSetDueDate";
inline constexpr const char* kTaskDueDateKey = "QSTaskDueDate";
inline constexpr const char* kTaskNoteKey = "QSTaskNote";
inline constexpr const char* kUpdateTask = "updateTask:";

// What the menu's first item carries: the task to change.
class RepresentedReminder : public HostObject {
public:
    explicit RepresentedReminder(std::shared_ptr<QSReminder> reminder);
    const std::shared_ptr<QSReminder> reminder;
};

// A button that lies in an item of a menu.
class MenuButton : public View {
public:
    explicit MenuButton(std::string anchor) : View(std::move(anchor), {}, "NSButton") {}
};

class QSTaskOptionsViewController : public std::enable_shared_from_this<QSTaskOptionsViewController> {
public:
    // Titled "TasksOptions"; the same at each call. Brought up to date whenever it opens.
    std::shared_ptr<Menu> menu();

private:
    void makeMenu();
    void menuNeedsUpdate(Menu& menu);
    void readSettings();
    void commitTask();

    std::shared_ptr<Menu> menu_;
    std::shared_ptr<FormModel> form_;
    std::shared_ptr<MenuButton> button_;
};

// Whether the sender of updateTask: means to turn a task's state over, rather than to write what the menu says.
bool meansToggle(const HostObject* sender);

}  // namespace qs
