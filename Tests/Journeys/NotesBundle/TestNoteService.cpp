// A notes service for journeys, in place of one on the web: what it is given it writes down in "Notes.jsonl" of the
// data folder, one note a line; what is called "Refuse" it refuses at first, and takes when it comes again. Linked into
// a plug-in of the journeys' own.
#include <set>
#include <string>

#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Json.h"
#include "Foundation/RunLoop.h"
#include "NoteConverter/QSNoteConverter.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Platform.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "SystemFacts/ProcessInfo.h"

namespace qs {

namespace {

constexpr int kOneNote = 18;

class TestNoteService : public QSNoteConverter {
public:
    using QSNoteConverter::QSNoteConverter;
    bool supportsTags() const override { return true; }
    bool supportsAttachments() const override { return true; }
    bool supportsReminders() const override { return true; }
    bool respondsTo(QSSlaveOperation operation) const override {
        return operation == QSSlaveOperation::Authenticate || operation == QSSlaveOperation::Sync ||
               QSNoteConverter::respondsTo(operation);
    }

    void authenticate() override {
        service()->markAsLinked(true);
        sync();
        if (const auto delegate = authDelegate()) delegate->didFinishAuthenticationWithError({});
    }
    void sync() override {
        setAvailableTagNames({"paper", "people", "work"});
        updateNotebooks({{"1", "Inbox", false, true}, {"2", "Paper mill"}, {"3", "Sales", true}});
    }
    void convertNote(const std::shared_ptr<QSNote>& note, QSNoteSuccessHandler success,
                     QSNoteFailureHandler failure) override {
        if (note->title() == "Refuse" && refused_.insert(note->uniqueIdentifier().value_or("")).second)
            return failure(Error{kNoteConverterErrorDomain, 1, "The service did not like it.", {}});
        Array tags, files;
        for (const std::string& tag : note->tagNames())
            tags.emplace_back(tag);
        for (const std::string& path : note->attachments())
            files.emplace_back(std::filesystem::path(path).filename().string());
        const Dictionary line{{"title", note->title().value_or("")},
                              {"content", note->content().value_or("")},
                              {"notebook", note->notebook() ? note->notebook()->name().value_or("") : ""},
                              {"tags", tags},
                              {"files", note->addAttachments() ? files : Array()}};
        const auto written = FileSystem::real().append(Platform::current().processInfo->dataFolder() / "Notes.jsonl",
                                                       jsonText(line) + "\n");
        if (!written) return failure(written.error());
        note->setRemoteURL("https://notes.example/" + note->uniqueIdentifier().value_or(""));
        success(note);
    }

private:
    std::set<std::string> refused_;  // identifiers of notes
};

// Load steps run before any service is asked for.
const PatchClassRegistration registration([] {
    QSSession::current().part<QSServicesManager>().slaveClasses().setMaker(
        kOneNote, [](const QSServiceRef& service) { return std::make_shared<TestNoteService>(service); });
});

}  // namespace

}  // namespace qs
