#include "Notes/NoteSettings.h"

#include "Core/QSSession.h"
#include "Core/SetAsideRecords.h"
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

std::string obstacle() {
    if (!QSNotesManager::sharedManager().allNotebooks().empty()) return {};
    return QSLocalizedString("Please link Quillstead to a notes service first.");
}

// It goes out again, into its notebook or, when that is gone, into the first one.
void prepare(ManagedObject& record) {
    auto& note = dynamic_cast<QSNote&>(record);
    if (!note.notebook()) note.setNotebook(QSNotesManager::sharedManager().allNotebooks().front());
    note.setDraft(false);
}

std::vector<FormControl> setAsideNotes() {
    return setAsideControls({.entity = QSNote::kEntityName,
                             .identifier = "setAsideNotes",
                             .label = QSLocalizedString("Notes that could not be sent"),
                             .imageName = "plugin:TB_CreateNote",
                             .cannotBringBack = QSLocalizedString("The Note Can't Be Brought Back"),
                             .obstacle = obstacle,
                             .prepare = prepare,
                             .wasBroughtBack = [] { QSNotesManager::sharedManager().syncWithServices(); }});
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
    for (FormControl& control : setAsideNotes())
        controls.push_back(std::move(control));
    return controls;
}

}  // namespace qs
