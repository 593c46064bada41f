#include "NoteConverter/QSNoteConverter.h"

#include <algorithm>

#include "Core/QSSession.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"

namespace qs {

const QSSlaveClass* QSNoteConverter::classForServiceType(std::int32_t type) {
    return QSServicesManager::sharedManager().slaveClasses().classForServiceType(kNotesUtility, type);
}

QSNoteConverter::QSNoteConverter(std::weak_ptr<QSService> service) : service_(std::move(service)) {}

bool QSNoteConverter::respondsTo(QSSlaveOperation operation) const {
    return operation == QSSlaveOperation::AuthDelegate || operation == QSSlaveOperation::SetAuthDelegate;
}

void QSNoteConverter::convertNote(const std::shared_ptr<QSNote>&, QSNoteSuccessHandler, QSNoteFailureHandler) {}

void QSNoteConverter::setAvailableTagNames(TextSet names) {
    willChangeValueForKey("availableTagNames");
    availableTagNames_ = std::move(names);
    didChangeValueForKey("availableTagNames");
}

void QSNoteConverter::updateNotebooks(const std::vector<QSRemoteNotebook>& notebooks) {
    const auto service = this->service();
    if (!service) return;
    auto& manager = QSNotesManager::sharedManager();
    const auto identifier = service->uniqueIdentifier();
    std::shared_ptr<QSNotebook> defaultNotebook;
    manager.changeNotebooks([&] {
        auto stale = manager.notebooksWithServiceIdentifier(identifier);
        for (const QSRemoteNotebook& remote : notebooks) {
            const auto notebook = manager.addNotebookWithIdentifier(remote.identifier, identifier);
            if (!notebook) continue;
            notebook->setName(remote.name);
            notebook->setIsBusiness(remote.isBusiness);
            notebook->setServiceIdentifier(identifier);
            if (remote.isDefault) defaultNotebook = notebook;
            std::erase(stale, notebook);
        }
        manager.deleteNotebooks(stale);
    });
    if (!defaultNotebook)
        if (const auto all = manager.allNotebooks(); !all.empty()) defaultNotebook = all.front();
    if (defaultNotebook) manager.setDefaultFallbackNotebook(defaultNotebook);
    QSServicesManager::sharedManager().changedMailAccountSettings();
}

Error QSNoteConverter::errorWithoutNotebook() {
    return {kNoteConverterErrorDomain, 0, QSLocalizedString("Please select a valid notebook for this note."), {}};
}

}  // namespace qs
