#include "Reminder/QSTaskOptionsViewController.h"

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Reminder/QSReminder.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr const char* kMenuTitle = "TasksOptions";
constexpr const char* kRepresented = "QSReminder";

UserDefaults& settings() { return QSPluginDelegate::quillsteadDefaults(); }

FormControl bound(FormControl::Kind kind, const char* key, std::string label) {
    FormControl control{.kind = kind, .id = key, .label = std::move(label)};
    control.onChange = [key](const Value& value) { settings().setObject(value, key); };
    return control;
}

}  // namespace

RepresentedReminder::RepresentedReminder(std::shared_ptr<QSReminder> task)
    : HostObject((ClassRegistry::current().define(kRepresented), kRepresented)), reminder(std::move(task)) {}

std::shared_ptr<Menu> QSTaskOptionsViewController::menu() {
    if (!menu_) makeMenu();
    return menu_;
}

void QSTaskOptionsViewController::makeMenu() {
    menu_ = std::make_shared<Menu>(kMenuTitle);
    button_ = std::make_shared<MenuButton>("menu:TaskOptions:commitTask");
    auto holder = std::make_shared<MenuItem>("", "");
    holder->setHidden(true);  // only carries the task
    menu_->addItem(std::move(holder));

    form_ = std::make_shared<FormModel>();
    form_->identifier = "TaskOptions";
    form_->firstResponder = kTaskNoteKey;
    FormControl setsDueDate =
        bound(FormControl::Kind::CheckBox, kTaskSetDueDateKey, QSLocalizedString("Set a due date"));
    setsDueDate.onChange = [weak = weak_from_this()](const Value& value) {
        settings().setObject(value, kTaskSetDueDateKey);
        if (const auto self = weak.lock()) self->readSettings();
    };
    FormControl note = bound(FormControl::Kind::TextField, kTaskNoteKey, QSLocalizedString("Note"));
    note.placeholder = QSLocalizedString("What is to be done");
    form_->groups.push_back(
        {.controls = {std::move(setsDueDate),
                      bound(FormControl::Kind::DateTime, kTaskDueDateKey, QSLocalizedString("Due date")),
                      std::move(note)}});
    form_->buttons = {{.title = {}, .isDefault = true, .action = [weak = weak_from_this()] {
                           if (const auto self = weak.lock()) self->commitTask();
                       }}};
    auto options = std::make_shared<MenuItem>(QSLocalizedString("Task Options"), "");
    options->setForm(form_);
    menu_->addItem(std::move(options));
    menu_->setUpdateHandler([weak = weak_from_this()](Menu& shown) {
        const auto self = weak.lock();
        if (self && QSSession::currentIfLoaded()) self->menuNeedsUpdate(shown);
    });
    readSettings();
}

// The focus goes to the note when the menu is drawn.
void QSTaskOptionsViewController::menuNeedsUpdate(Menu& menu) {
    if (menu.title() != kMenuTitle) return;
    auto& defaults = settings();
    defaults.removeObjectForKey(kTaskSetDueDateKey);
    defaults.setObject(RunLoop::main().now(), kTaskDueDateKey);
    defaults.removeObjectForKey(kTaskNoteKey);
    const auto represented = std::dynamic_pointer_cast<RepresentedReminder>(menu.itemAtIndex(0)->representedObject());
    const auto task = represented ? represented->reminder : nullptr;
    if (!task) {
        defaults.setObject(true, kTaskSetDueDateKey);
    } else {
        if (const auto due = task->dueDate()) {
            defaults.setObject(true, kTaskSetDueDateKey);
            defaults.setObject(*due, kTaskDueDateKey);
        }
        if (const auto notes = task->notes()) defaults.setObject(*notes, kTaskNoteKey);
    }
    form_->buttons.front().title = QSLocalizedString(task ? "Update Task" : "Create Task");
    readSettings();
}

void QSTaskOptionsViewController::readSettings() {
    for (FormControl& control : form_->groups.front().controls)
        control.value = settings().objectForKey(control.id);
    form_->control(kTaskDueDateKey)->enabled = settings().boolForKey(kTaskSetDueDateKey);
}

void QSTaskOptionsViewController::commitTask() {
    if (const auto application = MailApp::shared()) application->sendAction(kUpdateTask, nullptr, button_.get());
    menu_->cancelTracking();
}

bool meansToggle(const HostObject* sender) {
    if (dynamic_cast<const ToolbarItem*>(sender)) return true;  // drawn as a control of two segments
    return sender && sender->isKindOf("NSButton") && !dynamic_cast<const MenuButton*>(sender);
}

}  // namespace qs
