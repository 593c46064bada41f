#include "Notes/NoteSettings.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/DateFormatter.h"
#include "Models/ModelChanges.h"
#include "Notes/NoteFiles.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "Services/QSServicesManager.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

FormControl sentence(const char* id, std::string text) {
    FormControl control{.kind = Kind::Text, .id = id};
    control.value = std::move(text);
    return control;
}

void chooseNotebook(const std::string& account, const std::string& identifier) {
    auto& notes = QSNotesManager::sharedManager();
    const auto notebook = notes.notebookWithIdentifier(identifier);
    if (!notebook) return;
    notes.setDefaultNotebook(notebook, account);
    for (QSMailAccountSettings& each : QSServicesManager::sharedManager().mailAccountSettings())
        if (each.identifier == account) each.defaultNotebook = notebook;
}

FormControl notebookOf(const QSMailAccountSettings& account,
                       const std::vector<std::shared_ptr<QSNotebook>>& notebooks) {
    FormControl menu{.kind = Kind::PopUp, .id = "defaultNotebook-" + account.identifier, .label = account.name};
    for (const auto& each : notebooks)
        menu.options.push_back(
            {.title = each->description(), .value = each->uniqueIdentifier().value_or(""), .imageName = each->icon()});
    const auto chosen = QSNotesManager::sharedManager().defaultNotebookForAccountIdentifier(account.identifier);
    menu.value = chosen ? chosen->uniqueIdentifier().value_or("") : "";
    menu.onChange = [identifier = account.identifier](const Value& value) {
        chooseNotebook(identifier, value.stringValue());
    };
    return menu;
}

void tellFailure(const std::string& why) {
    QSRunAlertPanel(QSLocalizedString("The Note Can't Be Brought Back"), "%@", {}, {why});
}

// It goes out again, into its notebook or, when that is gone, into the first one.
void bringBack(const std::string& name) {
    auto& manager = QSNotesManager::sharedManager();
    const auto notebooks = manager.allNotebooks();
    if (notebooks.empty()) return tellFailure(QSLocalizedString("Please link Quillstead to a notes service first."));
    auto folder = recoveredRecords();
    const auto restored = folder.restore(name, QSPluginDelegate::sharedDelegate().managedObjectContext());
    const auto note = restored ? std::dynamic_pointer_cast<QSNote>(*restored) : nullptr;
    if (!note) return tellFailure(restored ? QSLocalizedString("It is no note.") : restored.error().description);
    if (!note->notebook()) note->setNotebook(notebooks.front());
    note->setDraft(false);
    QSPluginDelegate::sharedDelegate().saveCoreData();
    (void)folder.forget(name);
    manager.syncWithServices();
    noteModelChange();
}

FormOption rowOf(const RecoverableRecord& record) {
    FormOption row{.title = record.title.empty() ? QSLocalizedString("No Subject") : record.title,
                   .value = record.name,
                   .imageName = "plugin:TB_CreateNote"};
    row.facts.push_back(
        {.imageName = {}, .text = formatDate(record.deleted, {localizedDatePattern("yMMMdjm"), "", ""})});
    row.detail = record.reason;
    return row;
}

FormControl setAsideTable() {
    FormControl table{.kind = Kind::Table, .id = "setAsideNotes"};
    table.label = QSLocalizedString("Notes that could not be sent");
    table.rowButton = QSLocalizedString("Bring back");
    table.rowButtonImage = "undo";
    for (const RecoverableRecord& record : recoveredRecords().list())
        if (record.entity == QSNote::kEntityName) table.options.push_back(rowOf(record));
    table.onChange = [](const Value& value) { bringBack(value.stringValue()); };
    return table;
}

}  // namespace

std::vector<FormControl> noteControls() {
    std::vector<FormControl> controls;
    std::vector<std::shared_ptr<QSNotebook>> notebooks;
    if (QSNotesManager::hasNotesService()) notebooks = QSNotesManager::sharedManager().allNotebooks();
    if (!notebooks.empty()) {
        controls.push_back(
            sentence("defaultNotebooks", QSLocalizedString("Quick notes of mail in these accounts go into:")));
        for (const QSMailAccountSettings& account : QSServicesManager::sharedManager().mailAccountSettings())
            controls.push_back(notebookOf(account, notebooks));
    }
    if (FormControl table = setAsideTable(); !table.options.empty()) {
        controls.push_back(sentence("setAside", table.label + ":"));
        controls.push_back(std::move(table));
    }
    return controls;
}

}  // namespace qs
