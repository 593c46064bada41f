#include "Notes/QSNotesManager.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/SetAsideRecords.h"
#include "Core/StoreFetch.h"
#include "Core/UserNotice.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "NoteConverter/QSNoteServiceSlaveProtocol.h"
#include "Notes/NoteFiles.h"
#include "Notes/NoteServices.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

using Note = QSNotesManager::Note;
using Notebook = QSNotesManager::Notebook;

constexpr const char* kLastNotebookKey = "QSQuillstead_LastNotebook_%@";
constexpr const char* kDefaultNotebookKey = "QSQuillstead_Default_%@";

// False when something is left that could not be saved.
bool save() {
    QSPluginDelegate::sharedDelegate().saveCoreData();
    return !storeContext().hasChanges();
}
UserDefaults& settings() { return QSPluginDelegate::quillsteadDefaults(); }

void storeNotebook(const Notebook& notebook, const char* key, std::string_view accountIdentifier) {
    const auto identifier = notebook ? notebook->uniqueIdentifier() : std::nullopt;
    const std::string fullKey = stringWithFormat(key, {accountIdentifier});
    if (identifier)
        settings().setObject(*identifier, fullKey);
    else
        settings().removeObjectForKey(fullKey);
}

QSNotesManager::Identifier storedNotebook(const char* key, std::string_view accountIdentifier) {
    const Value stored = settings().objectForKey(stringWithFormat(key, {accountIdentifier}));
    return stored.type() == Value::Type::String ? QSNotesManager::Identifier(stored.stringValue()) : std::nullopt;
}

// Answers of workers come from any thread; ours is the main one.
void onMainThread(Block block) {
    RunLoop& loop = RunLoop::main();
    if (loop.isMainThread())
        block();
    else
        loop.post(std::move(block));
}

}  // namespace

QSNotesManager& QSNotesManager::sharedManager() { return QSSession::current().part<QSNotesManager>(); }

QSNotesManager::QSNotesManager() : pass_([this] { syncWithServices(); }) { cleanupDatabase(); }

QSNotesManager::~QSNotesManager() = default;

bool QSNotesManager::hasNotesService() {
    return !QSServicesManager::sharedManager().servicesOfUtilityType(kNotesUtility, true).empty();
}

std::vector<Notebook> QSNotesManager::allNotebooks() {
    return fetched<QSNotebook>(
        {}, {{QSNotebook::kServiceIdentifier.name(), true, {}}, byStandardOrder(QSNotebook::kName.name())});
}

Notebook QSNotesManager::addNotebookWithIdentifier(const Identifier& identifier,
                                                   const Identifier& withServiceIdentifier) {
    if (!identifier) {
        logError("Cannot create a notebook without a unique identifier!");
        return nullptr;
    }
    if (!withServiceIdentifier) {
        logError("Cannot create a notebook without a connected service identifier!");
        return nullptr;
    }
    if (auto existing = notebookWithIdentifier(identifier)) return existing;
    Notebook made;
    changeNotebooks([&] {
        made = storeContext().insertNew<QSNotebook>();
        made->setUniqueIdentifier(identifier);
        made->setServiceIdentifier(withServiceIdentifier);
    });
    return made;
}

Notebook QSNotesManager::notebookWithIdentifier(const Identifier& identifier) {
    return identifier ? firstFetched<QSNotebook>(QSNotebook::kUniqueIdentifier.is(*identifier)) : nullptr;
}

std::vector<Notebook> QSNotesManager::notebooksWithServiceIdentifier(const Identifier& identifier) {
    if (!identifier) return {};
    return fetched<QSNotebook>(QSNotebook::kServiceIdentifier.is(*identifier),
                               {byStandardOrder(QSNotebook::kName.name())});
}

void QSNotesManager::deleteNotebooks(const std::vector<Notebook>& notebooks) {
    for (const Notebook& notebook : notebooks)
        storeContext().deleteObject(*notebook);
}

void QSNotesManager::changeNotebooks(const std::function<void()>& change) {
    willChangeValueForKey("allNotebooks");
    change();
    didChangeValueForKey("allNotebooks");
}

void QSNotesManager::setLastUsedNotebook(const Notebook& notebook, std::string_view forAccountIdentifier) {
    storeNotebook(notebook, kLastNotebookKey, forAccountIdentifier);
}

Notebook QSNotesManager::lastUsedNotebookForAccountIdentifier(std::string_view identifier) {
    const auto last = notebookWithIdentifier(storedNotebook(kLastNotebookKey, identifier));
    return last ? last : defaultNotebookForAccountIdentifier(identifier);
}

void QSNotesManager::setDefaultNotebook(const Notebook& notebook, std::string_view forAccountIdentifier) {
    storeNotebook(notebook, kDefaultNotebookKey, forAccountIdentifier);
}

Notebook QSNotesManager::defaultNotebookForAccountIdentifier(std::string_view identifier) {
    if (const auto chosen = notebookWithIdentifier(storedNotebook(kDefaultNotebookKey, identifier))) return chosen;
    const auto all = allNotebooks();
    return all.empty() ? nullptr : all.front();
}

// Fills something only while the store has no notebooks.
void QSNotesManager::setDefaultFallbackNotebook(const Notebook& notebook) {
    for (const auto& account : MailAccount::mailAccounts())
        if (const std::string identifier = account->identifier(); !identifier.empty())
            if (!defaultNotebookForAccountIdentifier(identifier)) setDefaultNotebook(notebook, identifier);
}

Note QSNotesManager::addNoteWithIdentifier(const Identifier& identifier, const Notebook& inNotebook) {
    if (!identifier) {
        logError("Cannot create a note without a unique identifier!");
        return nullptr;
    }
    if (!inNotebook) {
        logError("Cannot create a note without a connected notebook!");
        return nullptr;
    }
    if (auto existing = noteWithIdentifier(identifier)) return existing;
    auto made = storeContext().insertNew<QSNote>();
    made->setUniqueIdentifier(identifier);
    made->setNotebook(inNotebook);
    return made;
}

void QSNotesManager::deleteNote(const Note& note) {
    if (note) storeContext().deleteObject(*note);
}

Note QSNotesManager::noteWithIdentifier(const Identifier& identifier) {
    return identifier ? firstFetched<QSNote>(QSNote::kUniqueIdentifier.is(*identifier)) : nullptr;
}

std::vector<Note> QSNotesManager::notesForMessageID(const Identifier& messageID) {
    return messageID ? fetched<QSNote>(QSNote::kMessageID.is(*messageID)) : std::vector<Note>();
}

std::vector<Note> QSNotesManager::pendingNotes() { return fetched<QSNote>(QSNote::kIsRemote.is(false)); }

std::vector<Note> QSNotesManager::pendingNotesForMessageID(const Identifier& messageID) {
    if (!messageID) return {};
    return fetched<QSNote>(QSNote::kMessageID.is(*messageID) && QSNote::kIsRemote.is(false));
}

void QSNotesManager::syncWithServices() {
    if (!hasNotesService()) return;
    for (const Note& note : pendingNotes()) {
        if (note->draft() || note->transmitting()) continue;
        const auto service = serviceOfNotebook(note->notebook());
        // A note that can't be set aside stays, and must not keep those behind it waiting for ever.
        if (!service) {
            logError("Could not find service for this note. Deleting it.");
            if (setAside(note, QSLocalizedString("Its notes service is gone."))) return;
            continue;
        }
        if (!noteConnectorOf(*service)) {
            logError("Could not find service connector for this note.");
            if (setAside(note, QSLocalizedString("Its notes service can't take it."))) return;
            continue;
        }
        note->setTransmitting(true);
        transfer(note, service);
    }
}

// In a turn of its own: the next note does not wait for this one's worker.
void QSNotesManager::transfer(const Note& note, const QSServiceRef& service) {
    RunLoop::main().post([this, alive = std::weak_ptr(alive_), note, service] {
        if (alive.expired()) return;
        const auto answered = std::make_shared<bool>(false);  // the first answer counts; main thread
        const auto success = [this, alive, answered, note, service](const Note& received) {
            onMainThread([=, this] {
                if (!alive.expired() && !std::exchange(*answered, true)) didTransmit(note, received, *service);
            });
        };
        const auto failure = [this, alive, answered, note](const std::optional<Error>& error) {
            onMainThread([=, this] {
                if (!alive.expired() && !std::exchange(*answered, true)) didFail(note, error);
            });
        };
        try {
            noteConnectorOf(*service)->convertNote(note, success, failure);
        } catch (const std::exception&) {
            logCaughtException("A note could not be sent; it stays and goes later");
            if (!*answered) note->setTransmitting(false);
        }
    });
}

void QSNotesManager::didTransmit(const Note& sent, const Note& received, const QSService& service) {
    assertThat(sent == received, "Note object was changed!");
    sent->setIsRemote(true);
    sent->setTransmitting(false);
    // While the store does not know that it is out, it may have to go again.
    if (save()) removeNoteFiles(sent->attachments());
    QSPluginDelegate::sharedDelegate().refreshMessageList();  // rows show how it stands with their notes
    showUserNotification(
        QSLocalizedString("Note Transmitted"),
        stringWithFormat(QSLocalizedString("A note was successfully transmitted to %@."), {service.name()}));
}

void QSNotesManager::didFail(const Note& note, const std::optional<Error>& error) {
    logError(stringWithFormat("Failed to convert local note to Evernote: %@",
                              {error ? Value(error->description) : Value()}));
    note->setTransmitting(false);
    if (error && Value(error->userInfo)[QSErrorRetryLaterKey].boolValue()) return;
    RunLoop::main().post([this, alive = std::weak_ptr(alive_), note,
                          reason = error ? error->description : QSLocalizedString("The service did not take it.")] {
        if (!alive.expired()) setAside(note, reason);
    });
}

bool QSNotesManager::setAside(const Note& note, const std::string& reason) {
    if (note->isDeleted()) return true;
    if (const auto kept = recoveredRecords().keep(*note, reason, RunLoop::main().now()); !kept) {
        logError("A note that could not be sent stays, as no copy of it can be kept: " + kept.error().description);
        return false;
    }
    const std::string title = note->title().value_or("");
    deleteNote(note);
    save();
    QSPluginDelegate::sharedDelegate().refreshMessageList();
    if (const auto app = MailApp::shared())
        app->addNotice(stringWithFormat(QSLocalizedString("The note “%@” could not be sent. You can bring it back in "
                                                          "the preferences, among the notes."),
                                        {title}));
    return true;
}

void QSNotesManager::cleanupDatabase() {
    RunLoop::main().post([this, alive = std::weak_ptr(alive_)] {
        if (alive.expired()) return;
        dropStaleNotebooks();
        recoveredRecords().prune(RunLoop::main().now());
        sweepNoteFiles();
    });
}

// Only with full knowledge of what is needed: the notes that wait, and that none can be brought back.
void QSNotesManager::sweepNoteFiles() {
    const auto isNote = [](const RecoverableRecord& record) { return record.entity == QSNote::kEntityName; };
    if (std::ranges::any_of(recoveredRecords().list(), isNote)) return;
    askStore([](ManagedObjectContext& store) -> Result<void> {
        const auto pending = store.fetch<QSNote>(QSNote::kIsRemote.is(false));
        if (!pending) return failed(pending);
        std::vector<std::string> needed;
        for (const Note& note : *pending)
            std::ranges::copy(note->attachments(), std::back_inserter(needed));
        removeStrayNoteFiles(needed, RunLoop::main().now());
        return {};
    });
}

void QSNotesManager::dropStaleNotebooks() {
    std::vector<Notebook> stale;
    for (const Notebook& notebook : allNotebooks()) {
        const auto service = serviceOfNotebook(notebook);
        if (!service || !service->linked() || !noteConnectorOf(*service)) stale.push_back(notebook);
    }
    deleteNotebooks(stale);
}

}  // namespace qs
