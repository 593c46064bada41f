#include "Notes/NoteHooks.h"

#include "Core/QSObjectStore.h"
#include "Core/QSSession.h"
#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "Services/QSServicesManager.h"

namespace qs {

namespace {

// Notes may wait since the last time. Where nothing was ever stored, the store is not even opened for them.
void beginWithStoredNotes() {
    if (QSSession::currentIfLoaded() && FileSystem::real().exists(objectStoreFile())) QSNotesManager::sharedManager();
}

}  // namespace

void installNoteHooks(QSSession& session) {
    auto& choice = session.part<QSServicesManager>().defaultNotebook;
    choice.get = [](const std::string& account) -> std::shared_ptr<ManagedObject> {
        if (!QSNotesManager::hasNotesService()) return nullptr;
        return QSNotesManager::sharedManager().defaultNotebookForAccountIdentifier(account);
    };
    // The accounts may have been read when there was no notebook, or one that is gone by now: that is nobody's choice.
    choice.set = [](const std::shared_ptr<ManagedObject>& chosen, const std::string& account) {
        const auto notebook = std::dynamic_pointer_cast<QSNotebook>(chosen);
        if (notebook && !notebook->isDeleted()) QSNotesManager::sharedManager().setDefaultNotebook(notebook, account);
    };
    RunLoop::main().post(beginWithStoredNotes);
}

}  // namespace qs
