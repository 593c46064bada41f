#include "Notes/QSNotesViewController.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Core/QSSession.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "NoteConverter/QSNoteServiceSlaveProtocol.h"
#include "Notes/NoteServices.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "Services/QSService.h"
#include "Services/ServiceTypes.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

constexpr TimeInterval kReminderDistance = 86400;  // from now, before anybody has chosen a date

// Lives as long as its sheet, in the actions of the sheet's form.
class NoteSheet : public std::enable_shared_from_this<NoteSheet> {
public:
    NoteSheet(std::shared_ptr<Window> window, std::shared_ptr<QSNote> note)
        : window_(std::move(window)), note_(std::move(note)), form_(std::make_shared<FormModel>()) {}

    void show(std::function<void(int)> completion) {
        makeForm();
        selectNotebook();
        window_->beginSheet(form_, [form = form_, completion = std::move(completion)](int code) {
            // They hold this sheet.
            form->groups.clear();
            form->buttons.clear();
            completion(code);
        });
    }

private:
    void makeForm() {
        form_->identifier = "CreateNoteView " + note_->uniqueIdentifier().value_or("");
        form_->title = QSLocalizedString("Create Note");
        form_->groups = {{.title = {}, .note = {}, .controls = {titleField(), notebookMenu(), tagField()}},
                         {.title = {}, .note = {}, .controls = {editor()}},
                         {.title = {}, .note = {}, .controls = {attachmentBox(), reminderBox(), datePicker()}}};
        form_->buttons = {{.title = QSLocalizedString("Save"),
                           .isDefault = true,
                           .action = [self = shared_from_this()] { self->saveNote(); }},
                          {.title = QSLocalizedString("Cancel"), .code = kSheetCancelled, .isCancel = true}};
    }

    FormControl titleField() {
        FormControl field{.kind = Kind::TextField, .id = "title", .label = QSLocalizedString("Title")};
        field.value = note_->title().value_or("");
        field.onChange = [self = shared_from_this()](const Value& value) {
            self->note_->setTitle(value.stringValue());
        };
        return field;
    }

    FormControl notebookMenu() {
        FormControl menu{.kind = Kind::PopUp, .id = "notebook", .label = QSLocalizedString("Notebook")};
        for (const auto& each : QSNotesManager::sharedManager().allNotebooks())
            menu.options.push_back({.title = each->description(),
                                    .value = each->uniqueIdentifier().value_or(""),
                                    .imageName = each->icon()});
        menu.value = note_->notebook() ? note_->notebook()->uniqueIdentifier().value_or("") : "";
        menu.onChange = [self = shared_from_this()](const Value& value) {
            auto& manager = QSNotesManager::sharedManager();
            if (const auto chosen = manager.notebookWithIdentifier(value.stringValue()))
                self->note_->setNotebook(chosen);
            self->selectNotebook();
        };
        return menu;
    }

    FormControl tagField() {
        FormControl field{.kind = Kind::Tokens, .id = "tags", .label = QSLocalizedString("Tags")};
        field.placeholder = QSLocalizedString("Add a tag");
        const TextSet names = note_->tagNames();
        field.value = Array(names.begin(), names.end());
        return field;
    }

    FormControl editor() {
        FormControl text{.kind = Kind::RichText, .id = "content", .toolTip = QSLocalizedString("Text of the note")};
        text.value = note_->content().value_or("");
        text.onChange = [self = shared_from_this()](const Value& value) {
            self->note_->setContent(value.stringValue());
        };
        return text;
    }

    FormControl attachmentBox() {
        FormControl box{.kind = Kind::CheckBox, .id = "addAttachments"};
        const auto count = static_cast<std::int64_t>(note_->attachments().size());
        box.enabled = count > 0;
        if (count == 0) note_->setAddAttachments(false);
        box.label = count > 0 ? stringWithFormat(QSLocalizedString("Include email attachments (%ld)"), {count})
                              : QSLocalizedString("Include email attachments (No attachments)");
        box.value = note_->addAttachments();
        box.onChange = [self = shared_from_this()](const Value& value) {
            self->note_->setAddAttachments(value.boolValue());
        };
        return box;
    }

    FormControl reminderBox() {
        FormControl box{.kind = Kind::CheckBox, .id = "useReminder", .label = QSLocalizedString("Set a reminder")};
        box.value = note_->useReminder();
        box.onChange = [self = shared_from_this()](const Value& value) {
            self->note_->setUseReminder(value.boolValue());
            FormControl& picker = *self->form_->control("reminderDate");
            picker.enabled = value.boolValue();
            if (picker.enabled) self->note_->setReminderDate(picker.value.dateValue());
        };
        return box;
    }

    FormControl datePicker() {
        FormControl picker{.kind = Kind::DateTime, .id = "reminderDate", .label = QSLocalizedString("On")};
        const Date now = RunLoop::main().now();
        picker.earliest = now;
        picker.value = note_->reminderDate().value_or(now + kReminderDistance);
        picker.enabled = note_->useReminder();
        picker.onChange = [self = shared_from_this()](const Value& value) {
            self->note_->setReminderDate(value.dateValue());
        };
        return picker;
    }

    // What the notebook's service can't take is hidden.
    void selectNotebook() {
        const auto service = serviceOfNotebook(note_->notebook());
        assertThat(!service || service->utilityType() == kNotesUtility, "Note feature requires a note service");
        const auto* worker = service ? noteConnectorOf(*service) : nullptr;
        const bool takesReminders = worker && worker->supportsReminders();
        FormControl& tags = *form_->control("tags");
        tags.hidden = !worker || !worker->supportsTags();
        tags.options.clear();
        if (worker)
            for (const std::string& name : worker->availableTagNames())
                tags.options.push_back({.title = name, .value = name, .imageName = {}});
        form_->control("addAttachments")->hidden = !worker || !worker->supportsAttachments();
        form_->control("useReminder")->hidden = !takesReminders;
        form_->control("reminderDate")->hidden = !takesReminders;
        noteModelChange();
    }

    void saveNote() {
        FormButton& save = form_->buttons.front();
        save.enabled = false;
        save.title = QSLocalizedString("Saving...");
        // None in the field: those that the settings gave the note stay.
        if (const TextSet names = enteredTags(); !names.empty()) note_->setTagNames(names);
        window_->endSheet(*form_, kSheetConfirmed);
    }

    TextSet enteredTags() const {
        TextSet names;
        for (const Value& token : form_->control("tags")->value.array()) {
            const std::string text = token.stringValue();
            for (std::size_t begin = 0; begin <= text.size();) {
                const std::size_t end = std::min(text.find(',', begin), text.size());
                const auto name = trimmedAscii(std::string_view(text).substr(begin, end - begin));
                if (!name.empty()) names.emplace(name);
                begin = end + 1;
            }
        }
        return names;
    }

    const std::shared_ptr<Window> window_;
    const std::shared_ptr<QSNote> note_;
    const std::shared_ptr<FormModel> form_;
};

}  // namespace

void QSNotesViewController::showNoteDialogForWindow(const std::shared_ptr<Window>& window,
                                                    const std::shared_ptr<QSNote>& forNote,
                                                    std::function<void(int)> completionHandler) {
    std::make_shared<NoteSheet>(window, forNote)->show(std::move(completionHandler));
}

}  // namespace qs
