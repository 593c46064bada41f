// Notes and notebooks: making and finding them, the accounts' choices, and the pass that hands waiting notes to the
// workers of their services.
#include "Core/SetAsideRecords.h"
#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Notes/NoteFiles.h"
#include "Notes/NotesTestSupport.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class NotesManagerTest : public NotesTest {
protected:
    void startWithService() {
        start();
        service_ = linkedService();
        plain_ = notebook(service_, "Plain");
    }
    void sync() {
        notes().syncWithServices();
        host_->settle();
    }
    TestNoteConverter& worker() { return NotesTest::worker(service_); }

    QSServiceRef service_;
    std::shared_ptr<QSNotebook> plain_;
};

TEST_F(NotesManagerTest, NotebooksAreListedByServiceThenByNameAsPeopleReadIt) {
    start();
    const auto one = linkedService(), other = linkedService();
    for (const char* name : {"Note 10", "zebra", "Note 9", "Äpfel"})
        notebook(one, name);
    notebook(other, "Alone");
    EXPECT_THAT(namesOf(notes().notebooksWithServiceIdentifier(one->uniqueIdentifier())),
                ElementsAre("Äpfel", "Note 9", "Note 10", "zebra"));
    const bool oneIsFirst = one->uniqueIdentifier() < other->uniqueIdentifier();
    EXPECT_EQ(namesOf(notes().allNotebooks())[oneIsFirst ? 4 : 0], "Alone");
    EXPECT_THAT(notes().notebooksWithServiceIdentifier({}), IsEmpty());
}

TEST_F(NotesManagerTest, WhatIsThereIsFoundAndWhatLacksAnIdentifierIsNotMade) {
    startWithService();
    int announced = 0;
    const auto observation = notes().addObserver("allNotebooks", [&](bool) { ++announced; });
    EXPECT_EQ(notes().addNotebookWithIdentifier("id of Plain", "another service"), plain_);
    EXPECT_EQ(plain_->serviceIdentifier(), service_->uniqueIdentifier());
    EXPECT_EQ(announced, 0);
    notebook(service_, "New");
    EXPECT_EQ(announced, 2);

    const auto made = note(plain_, "First");
    EXPECT_EQ(notes().addNoteWithIdentifier("id of First", notebook(service_, "Other")), made);
    EXPECT_EQ(made->notebook(), plain_);

    EXPECT_EQ(notes().addNotebookWithIdentifier({}, "service"), nullptr);
    EXPECT_EQ(notes().addNotebookWithIdentifier("id", {}), nullptr);
    EXPECT_EQ(notes().addNoteWithIdentifier({}, plain_), nullptr);
    EXPECT_EQ(notes().addNoteWithIdentifier("id", nullptr), nullptr);
    for (const char* line :
         {"Cannot create a notebook without a unique identifier!",
          "Cannot create a notebook without a connected service identifier!",
          "Cannot create a note without a unique identifier!", "Cannot create a note without a connected notebook!"})
        EXPECT_TRUE(log_.contains(line)) << line;
}

TEST_F(NotesManagerTest, NotesOfAMessageAreFoundByItsId) {
    startWithService();
    const auto sent = note(plain_, "Sent"), waiting = note(plain_, "Waiting");
    for (const auto& each : {sent, waiting})
        each->setMessageID("m@example.org");
    sent->setIsRemote(true);
    note(plain_, "Another's")->setMessageID("n@example.org");
    note(plain_, "Nobody's");
    EXPECT_THAT(notes().notesForMessageID("m@example.org"), ElementsAre(sent, waiting));
    EXPECT_THAT(notes().pendingNotesForMessageID("m@example.org"), ElementsAre(waiting));
    EXPECT_THAT(notes().pendingNotes(), SizeIs(3));
    EXPECT_THAT(notes().notesForMessageID({}), IsEmpty());
    EXPECT_THAT(notes().pendingNotesForMessageID({}), IsEmpty());
    EXPECT_EQ(notes().noteWithIdentifier({}), nullptr);
}

TEST_F(NotesManagerTest, AnAccountsNotebookIsTheLastUsedElseTheDefaultElseTheFirst) {
    start();
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), nullptr);
    const auto service = linkedService();
    const auto first = notebook(service, "A"), second = notebook(service, "B"), third = notebook(service, "C");
    EXPECT_EQ(notes().defaultNotebookForAccountIdentifier("ada"), first);
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), first);

    notes().setDefaultNotebook(second, "ada");
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), second);
    EXPECT_EQ(notes().defaultNotebookForAccountIdentifier("ben"), first);
    notes().setLastUsedNotebook(third, "ada");
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), third);
    EXPECT_EQ(notes().defaultNotebookForAccountIdentifier("ada"), second);
    EXPECT_EQ(defaults().objectForKey("QSQuillstead_LastNotebook_ada").stringValue(), "id of C");
    EXPECT_EQ(defaults().objectForKey("QSQuillstead_Default_ada").stringValue(), "id of B");

    notes().deleteNotebooks({third});
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), second);
    notes().deleteNotebooks({second});
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), first);
}

TEST_F(NotesManagerTest, MailAccountsShowTheirNotebookWhileAServiceIsLinked) {
    startWithService();
    ASSERT_THAT(services().mailAccountSettings(), SizeIs(2));
    EXPECT_EQ(services().mailAccountSettings().front().defaultNotebook, plain_);
    services().defaultNotebook.set(nullptr, "ada");
    EXPECT_TRUE(defaults().objectForKey("QSQuillstead_Default_ada").isNil());
    services().defaultNotebook.set(plain_, "ada");
    EXPECT_EQ(defaults().objectForKey("QSQuillstead_Default_ada").stringValue(), "id of Plain");
    service_->markAsLinked(false);
    EXPECT_EQ(services().defaultNotebook.get("ada"), nullptr);
}

TEST_F(NotesManagerTest, ANewNoteIsADraftWithTheTagsOfTheSettings) {
    startWithService();
    defaults().setObject(Array{"mail", 7, "work"}, "QSNotesTags");
    const auto made = notes().addNoteWithIdentifier("id", plain_);
    EXPECT_TRUE(made->draft());
    EXPECT_THAT(made->tagNames(), ElementsAre("mail", "work"));
    EXPECT_FALSE(made->isRemote());
}

TEST_F(NotesManagerTest, WaitingNotesGoOutSideBySideAndEachOnce) {
    startWithService();
    const auto one = note(plain_, "One"), two = note(plain_, "Two");
    note(plain_, "Draft", true);
    sync();
    sync();
    EXPECT_THAT(worker().titles(), ElementsAre("One", "Two"));
    EXPECT_TRUE(one->transmitting());

    one->setUniqueIdentifier("the service's own");
    worker().given[0].success(one);
    host_->settle();
    EXPECT_TRUE(one->isRemote());
    EXPECT_FALSE(one->transmitting());
    EXPECT_EQ(notes().noteWithIdentifier("id of One"), nullptr);
    ASSERT_THAT(distributed_->posted, SizeIs(1));
    EXPECT_EQ(distributed_->posted[0].name, "com.apple.Mail.Quillstead.UserNotification");
    EXPECT_EQ(distributed_->posted[0].userInfo["title"].stringValue(), "Note Transmitted");
    EXPECT_EQ(distributed_->posted[0].userInfo["subtitle"].stringValue(),
              "A note was successfully transmitted to OneNote.");
    sync();
    EXPECT_THAT(worker().given, SizeIs(2));
}

TEST_F(NotesManagerTest, AnAnswerMayComeFromAnotherThread) {
    startWithService();
    const auto sent = note(plain_, "One");
    sync();
    RunLoop::main().postToGlobalQueue([success = worker().given[0].success, sent] { success(sent); });
    host_->settle();
    EXPECT_TRUE(sent->isRemote());
}

TEST_F(NotesManagerTest, AnotherNoteThanTheOneSentIsAFault) {
    startWithService();
    const auto sent = note(plain_, "Sent"), other = note(plain_, "Other", true);
    sync();
    EXPECT_THROW(worker().given[0].success(other), AssertionFailure);
    EXPECT_TRUE(log_.contains("Note object was changed!"));
    EXPECT_FALSE(sent->isRemote());
}

TEST_F(NotesManagerTest, AFailureForNowIsTriedAgainWithTheNextPass) {
    startWithService();
    const auto waiting = note(plain_, "One");
    sync();
    worker().given[0].failure(Error{"Service", 19, "Too much.", {{std::string(QSErrorRetryLaterKey), true}}});
    host_->settle();
    EXPECT_TRUE(log_.contains("Failed to convert local note to Evernote: Too much."));
    EXPECT_FALSE(waiting->isDeleted());
    host_->advance(300);
    EXPECT_THAT(worker().titles(), ElementsAre("One", "One"));
}

TEST_F(NotesManagerTest, AFinalFailureDeletesTheNoteAndItCanBeBroughtBack) {
    startWithService();
    struct Case {
        const char *why, *reason;
        std::optional<Error> error;
    };
    for (const Case& c :
         {Case{"an error without a word about later", "Refused.", Error{"Service", 2, "Refused.", {}}},
          Case{"an error that says not later", "No.", Error{"Service", 2, "No.", {{"QSErrorRetryLaterKey", false}}}},
          Case{"no error at all", "The service did not take it.", std::nullopt}}) {
        const auto lost = note(plain_, c.why);
        lost->setContent("<p>Everything I know</p>");
        sync();
        worker().given.back().failure(c.error);
        EXPECT_FALSE(lost->isDeleted()) << c.why;  // not within the worker's call
        host_->settle();
        EXPECT_TRUE(lost->isDeleted()) << c.why;

        const auto kept = recoveredRecords().list();
        ASSERT_FALSE(kept.empty()) << c.why;
        EXPECT_EQ(kept.front().reason, c.reason);
        const auto back = recoveredRecords().restore(kept.front().name, context());
        ASSERT_TRUE(back) << back.error().description;
        EXPECT_EQ(std::dynamic_pointer_cast<QSNote>(*back)->content(), "<p>Everything I know</p>");
        notes().deleteNote(std::dynamic_pointer_cast<QSNote>(*back));
        ASSERT_TRUE(recoveredRecords().forget(kept.front().name));
    }
}

TEST_F(NotesManagerTest, WithoutALinkedServiceWaitingNotesStay) {
    startWithService();
    const auto waiting = note(plain_, "One");
    service_->markAsLinked(false);
    sync();
    EXPECT_FALSE(waiting->isDeleted());
    EXPECT_THAT(worker().given, IsEmpty());
}

TEST_F(NotesManagerTest, APassEndsWithTheFirstNoteWhoseServiceIsGone) {
    startWithService();
    const auto gone = linkedService();
    const auto lost = notebook(gone, "Lost");
    note(lost, "One");
    note(lost, "Two");
    const auto waiting = note(plain_, "Three");
    services().removeService(gone);
    for (std::size_t left : {2u, 1u}) {
        EXPECT_THAT(worker().given, IsEmpty());
        sync();
        EXPECT_THAT(notes().pendingNotes(), SizeIs(left));
    }
    EXPECT_TRUE(log_.contains("Could not find service for this note. Deleting it."));
    sync();
    EXPECT_THAT(worker().titles(), ElementsAre("Three"));
    EXPECT_THAT(recoveredRecords().list(), SizeIs(2));
}

TEST_F(NotesManagerTest, ANoteForAServiceThatTakesNoNotesIsDeleted) {
    startWithService();
    const auto box = services().addServiceOfType(6);
    const auto misled = note(notebook(box, "Misled"), "One");
    sync();
    EXPECT_TRUE(misled->isDeleted());
    EXPECT_TRUE(log_.contains("Could not find service connector for this note."));
}

TEST_F(NotesManagerTest, PassesRunFiveSecondsAfterTheStartAndThenEveryFiveMinutes) {
    startWithService();
    note(plain_, "One");
    std::vector<std::size_t> passes;
    for (const double wait : {4.9, 0.1, 294.9, 0.1, 300.0}) {
        host_->advance(wait);
        for (const auto& given : worker().given)
            if (given.note->transmitting())
                given.failure(Error{"Service", 19, "", {{std::string(QSErrorRetryLaterKey), true}}});
        passes.push_back(worker().given.size());
    }
    EXPECT_THAT(passes, ElementsAre(0, 1, 1, 2, 3));
}

TEST_F(NotesManagerTest, NotebooksOfServicesThatAreGoneAreDroppedAndTheirNotesAreNot) {
    startWithService();
    host_->settle();
    const auto unlinked = linkedService(), removed = linkedService();
    const auto orphan = note(notebook(unlinked, "Unlinked"), "Orphan");
    notebook(removed, "Removed");
    notebook(services().addServiceOfType(6), "Takes no notes");
    unlinked->markAsLinked(false);
    services().removeService(removed);
    notes().cleanupDatabase();
    EXPECT_THAT(notes().allNotebooks(), SizeIs(4));  // not within the call
    host_->settle();
    EXPECT_THAT(namesOf(notes().allNotebooks()), ElementsAre("Plain"));
    EXPECT_FALSE(orphan->isDeleted());
    EXPECT_EQ(orphan->notebook(), nullptr);
}

TEST_F(NotesManagerTest, ADraftThatACrashLeftGoesOutAfterTheNextStart) {
    startWithService();
    note(plain_, "Left", true);
    services().saveToPreferences();
    delegate().saveCoreData();
    const auto identifier = *service_->uniqueIdentifier();
    service_.reset();
    plain_.reset();
    restartPlugin();
    host_->settle();
    host_->advance(5);
    EXPECT_THAT(NotesTest::worker(services().serviceWithIdentifier(identifier)).titles(), ElementsAre("Left"));
}

TEST_F(NotesManagerTest, FilesOfANoteGoWhenTheServiceHasThemAndStayWhileItWaits) {
    startWithService();
    const auto sent = note(plain_, "One"), waiting = note(plain_, "Two", true);
    for (const auto& each : {sent, waiting}) {
        TextArray paths;
        for (int i = 0; i < 2; ++i) {
            const auto written = writeNoteFile(*each->uniqueIdentifier(), "../plan.txt", "the plan");
            ASSERT_TRUE(written) << written.error().description;
            paths.push_back(written->string());
        }
        EXPECT_THAT(paths, Contains(HasSubstr("plan-1.txt")));
        each->setAttachments(paths);
    }
    sync();
    worker().given[0].success(sent);
    host_->settle();
    EXPECT_FALSE(FileSystem::real().exists(sent->attachments()[0]));
    EXPECT_TRUE(FileSystem::real().exists(waiting->attachments()[1]));

    // Long after, what no note names any more is swept, and nothing else.
    const auto stray = writeNoteFile("gone", "left.txt", "nobody's").value();
    const Date later{4'000'000'000};
    removeStrayNoteFiles(waiting->attachments(), FileSystem::real().info(stray)->modified + 86400.0);
    EXPECT_TRUE(FileSystem::real().exists(stray)) << "it may be brought back";
    removeStrayNoteFiles(waiting->attachments(), later);
    EXPECT_FALSE(FileSystem::real().exists(stray.parent_path()));
    EXPECT_TRUE(FileSystem::real().exists(waiting->attachments()[1]));
}

}  // namespace
}  // namespace qs
