// The ground for tests of notes: a host, a linked note service whose worker does what the test says, and notebooks.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Core/Store/ManagedObjectContext.h"
#include "Keychain/Keychain.h"
#include "MainViewer.h"
#include "NoteConverter/QSNoteConverter.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "PluginTest.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"

namespace qs {

// A worker that keeps what it is given until the test says how it ended.
class TestNoteConverter : public QSNoteConverter {
public:
    struct Given {
        std::shared_ptr<QSNote> note;
        QSNoteSuccessHandler success;
        QSNoteFailureHandler failure;
    };
    std::vector<Given> given;
    bool supports = true;
    std::string linkScheme;

    using QSNoteConverter::QSNoteConverter;
    using QSNoteConverter::setAvailableTagNames;
    using QSNoteConverter::updateNotebooks;
    static Error notebookMissing() { return errorWithoutNotebook(); }

    void convertNote(const std::shared_ptr<QSNote>& note, QSNoteSuccessHandler success,
                     QSNoteFailureHandler failure) override {
        given.push_back({note, std::move(success), std::move(failure)});
    }
    bool supportsTags() const override { return supports; }
    bool supportsAttachments() const override { return supports; }
    bool supportsReminders() const override { return supports; }
    std::string noteLinkScheme() const override { return linkScheme; }

    std::vector<std::string> titles() const {
        std::vector<std::string> found;
        for (const Given& each : given)
            found.push_back(each.note->title().value_or(""));
        return found;
    }
};

class NotesTest : public PluginTest {
protected:
    static constexpr int kNoteService = 18;

    void start(TemporaryHostOptions options = {}) {
        preparePlatform_ = [this](Platform& platform) {
            platform.keychain = Keychain::vault({keychainFolder_.path() / "Keychain", {}, nullptr});
        };
        startHost(std::move(options));
        useTestWorkers();
    }
    // With a linked service and a notebook of it, "Plain".
    void startWithService(TemporaryHostOptions options = {}) {
        start(std::move(options));
        service_ = linkedService();
        plain_ = notebook(service_, "Plain");
    }
    // After each start of the plug-in, before its services are asked for.
    void useTestWorkers() {
        services().slaveClasses().setMaker(
            kNoteService, [](const QSServiceRef& service) { return std::make_shared<TestNoteConverter>(service); });
    }
    void restartPlugin() {
        restart();
        useTestWorkers();
    }
    QSServicesManager& services() { return QSServicesManager::sharedManager(); }
    QSNotesManager& notes() { return QSNotesManager::sharedManager(); }
    ManagedObjectContext& context() { return delegate().managedObjectContext(); }

    QSServiceRef linkedService() {
        const auto service = services().addServiceOfType(kNoteService);
        service->markAsLinked(true);
        return service;
    }
    static TestNoteConverter& worker(const QSServiceRef& service) {
        return dynamic_cast<TestNoteConverter&>(service->slave());
    }
    std::shared_ptr<QSNotebook> notebook(const QSServiceRef& service, const std::string& name) {
        const auto made = notes().addNotebookWithIdentifier("id of " + name, service->uniqueIdentifier());
        made->setName(name);
        return made;
    }
    // One that waits to go out, unless it is a draft.
    std::shared_ptr<QSNote> note(const std::shared_ptr<QSNotebook>& notebook, const std::string& title,
                                 bool isDraft = false) {
        const auto made = notes().addNoteWithIdentifier("id of " + title, notebook);
        made->setTitle(title);
        made->setDraft(isDraft);
        return made;
    }
    // A message comes into an inbox.
    MessageRef add(std::string_view content, const char* account = "ada") {
        auto& library = host_->library();
        auto message = library.add(*library.mailbox(account, MailboxKind::Inbox, true), content, {.seen = true},
                                   host_->loop().now());
        host_->settle();
        return message.value();
    }
    static std::string simple(const std::string& id, const std::string& body = "Text of it",
                              const std::string& type = "text/plain") {
        return "From: m@mill.example\r\nSubject: About " + id + "\r\n" +
               (id.empty() ? "" : "Message-Id: <" + id + ">\r\n") + "Content-Type: " + type + "\r\n\r\n" + body +
               "\r\n";
    }
    void select(const MessageList& messages) {
        std::vector<std::int64_t> ids;
        for (const auto& each : messages)
            ids.push_back(each->libraryID());
        host_->viewer().selectIDs(ids);
        host_->settle();
    }
    static std::vector<std::string> namesOf(const std::vector<std::shared_ptr<QSNotebook>>& notebooks) {
        std::vector<std::string> names;
        for (const auto& each : notebooks)
            names.push_back(each->name().value_or(""));
        return names;
    }

    TestNoteConverter& worker() { return worker(service_); }
    void sync() {
        notes().syncWithServices();
        host_->settle();
    }

    TemporaryFolder keychainFolder_;
    QSServiceRef service_;
    std::shared_ptr<QSNotebook> plain_;
};

}  // namespace qs
