#include "Core/SetAsideRecords.h"

#include <algorithm>

#include "Core/QSObjectStore.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Core/StoreFetch.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Models/ModelChanges.h"

namespace qs {

namespace {

std::vector<RecoverableRecord> recordsOf(std::string_view entity) {
    auto records = recoveredRecords().list();
    std::erase_if(records, [entity](const RecoverableRecord& record) { return record.entity != entity; });
    return records;
}

// False when it can't be saved, which the person has been told: then all is as it was.
Result<bool> restore(const SetAsideKind& kind, const std::string& name) {
    auto folder = recoveredRecords();
    const auto record = folder.restore(name, storeContext());
    if (!record) return failed(record);
    kind.prepare(**record);
    QSPluginDelegate::sharedDelegate().saveCoreData();
    if (storeContext().hasChanges()) {
        storeContext().deleteObject(**record);
        return false;
    }
    if (const auto forgotten = folder.forget(name); !forgotten)
        logWarning("a record that was brought back stays in the list: " + forgotten.error().description);
    return true;
}

void bringBack(const SetAsideKind& kind, const std::string& name) {
    // The name comes from the page, and what that shows may be old.
    if (std::ranges::none_of(recordsOf(kind.entity), [&](const auto& record) { return record.name == name; })) return;
    std::string obstacle = kind.obstacle();
    bool isBack = false;
    if (obstacle.empty()) {
        const auto restored = restore(kind, name);
        if (restored)
            isBack = *restored;
        else
            obstacle = restored.error().description;
    }
    if (!obstacle.empty()) return (void)QSRunAlertPanel(kind.cannotBringBack, "%@", {}, {obstacle});
    if (isBack) kind.wasBroughtBack();
    noteModelChange();
}

FormOption rowOf(const RecoverableRecord& record, const std::string& imageName) {
    FormOption row{.title = record.title.empty() ? QSLocalizedString("No Subject") : record.title,
                   .value = record.name,
                   .imageName = imageName};
    row.facts.push_back(
        {.imageName = {}, .text = formatDate(record.deleted, {localizedDatePattern("yMMMdjm"), "", ""})});
    row.detail = record.reason;
    return row;
}

}  // namespace

RecoveryFolder recoveredRecords() {
    return {objectStoreFile().parent_path() / "Recovered Records", FileSystem::real()};
}

std::vector<FormControl> setAsideControls(const SetAsideKind& kind) {
    const auto records = recordsOf(kind.entity);
    if (records.empty()) return {};
    FormControl sentence{.kind = FormControl::Kind::Text, .id = kind.identifier + "Sentence"};
    sentence.value = kind.label + ":";
    FormControl table{.kind = FormControl::Kind::Table, .id = kind.identifier, .label = kind.label};
    table.rowButton = QSLocalizedString("Bring back");
    table.rowButtonImage = "undo";
    for (const RecoverableRecord& record : records)
        table.options.push_back(rowOf(record, kind.imageName));
    table.onChange = [kind](const Value& value) { bringBack(kind, value.stringValue()); };
    return {std::move(sentence), std::move(table)};
}

}  // namespace qs
