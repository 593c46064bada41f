// Makes, finds and deletes notes and notebooks, keeps each mail account's choice of a notebook, and hands waiting notes
// to the workers of their services: every five minutes, and whenever a note was made.
//
// Main thread, as its records are. Changes of the list of notebooks are told by the key "allNotebooks".
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "Foundation/Result.h"
#include "Services/ServicePass.h"

namespace qs {

class QSNote;
class QSNotebook;
class QSService;

class QSNotesManager : public QSKeyValueChanges {
public:
    using Note = std::shared_ptr<QSNote>;
    using Notebook = std::shared_ptr<QSNotebook>;
    using Identifier = std::optional<std::string>;

    static QSNotesManager& sharedManager();  // the session's; made when first asked for
    QSNotesManager();
    ~QSNotesManager() override;

    static bool hasNotesService();  // a linked one; makes no manager

    std::vector<Notebook> allNotebooks();  // by service, then by name
    // Finds it or makes it. Null, with a line in the log, without one of the identifiers.
    Notebook addNotebookWithIdentifier(const Identifier& identifier, const Identifier& withServiceIdentifier);
    Notebook notebookWithIdentifier(const Identifier& identifier);                       // null for none
    std::vector<Notebook> notebooksWithServiceIdentifier(const Identifier& identifier);  // by name
    void deleteNotebooks(const std::vector<Notebook>& notebooks);
    // Announces "allNotebooks" before and after.
    void changeNotebooks(const std::function<void()>& change);

    // The one that was picked last in the sheet for a note; else the default one.
    void setLastUsedNotebook(const Notebook& notebook, std::string_view forAccountIdentifier);
    Notebook lastUsedNotebookForAccountIdentifier(std::string_view identifier);
    // The chosen one; else the first of all, null when there are no notebooks.
    void setDefaultNotebook(const Notebook& notebook, std::string_view forAccountIdentifier);
    Notebook defaultNotebookForAccountIdentifier(std::string_view identifier);
    // For the accounts that have none.
    void setDefaultFallbackNotebook(const Notebook& notebook);

    // Finds it, and leaves it as it is; or makes it. Null, with a line in the log, without an identifier or a notebook.
    Note addNoteWithIdentifier(const Identifier& identifier, const Notebook& inNotebook);
    // From the store alone: nothing is sent to the service.
    void deleteNote(const Note& note);
    Note noteWithIdentifier(const Identifier& identifier);             // null for none
    std::vector<Note> notesForMessageID(const Identifier& messageID);  // none without an id
    std::vector<Note> pendingNotes();                                  // that the service does not hold yet
    std::vector<Note> pendingNotesForMessageID(const Identifier& messageID);

    // Sends each waiting note that is neither a draft nor on its way. Does not wait for them.
    void syncWithServices();
    // Drops, in a later turn, the notebooks of services that are gone or no longer linked, and files that belong to no
    // note any more.
    void cleanupDatabase();

private:
    void transfer(const Note& note, const std::shared_ptr<QSService>& service);
    void didTransmit(const Note& sent, const Note& received, const QSService& service);
    void didFail(const Note& note, const std::optional<Error>& error);
    // Deletes what the person did not ask to delete: it can be restored for a while.
    // False when no copy of it can be kept: then it stays.
    bool setAside(const Note& note, const std::string& reason);
    void dropStaleNotebooks();
    void sweepNoteFiles();

    ServicePass pass_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
