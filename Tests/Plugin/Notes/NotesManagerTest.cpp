// Notes and notebooks: making and finding them, the accounts' choices, and what is cleaned up.
#include "Core/QSObjectStore.h"
#include "Core/SetAsideRecords.h"
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

using NotesManagerTest = NotesTest;

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

TEST_F(NotesManagerTest, ItCleansUpWhenItIsMade) {
    startWithService();
    const auto removed = linkedService();
    notebook(removed, "Removed");
    services().removeService(removed);
    services().saveToPreferences();
    delegate().saveCoreData();
    service_.reset();
    plain_.reset();
    restartPlugin();
    EXPECT_THAT(notes().allNotebooks(), SizeIs(2));
    host_->settle();
    EXPECT_THAT(namesOf(notes().allNotebooks()), ElementsAre("Plain"));
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
    waiting->setDraft(false);
    sync();
    {
        auto editor = context().registerEditor([] { return false; });
        worker().given[1].success(waiting);
        host_->settle();
    }
    EXPECT_TRUE(FileSystem::real().exists(waiting->attachments()[1])) << "for the store it is still on its way";

    // Long after, what no note names any more is swept, and nothing else.
    const auto stray = writeNoteFile("gone", "left.txt", "nobody's").value();
    const Date later{4'000'000'000};
    removeStrayNoteFiles(waiting->attachments(), FileSystem::real().info(stray)->modified + 86400.0);
    EXPECT_TRUE(FileSystem::real().exists(stray)) << "it may be brought back";
    removeStrayNoteFiles(waiting->attachments(), later);
    EXPECT_FALSE(FileSystem::real().exists(stray.parent_path()));
    EXPECT_TRUE(FileSystem::real().exists(waiting->attachments()[1]));
}

TEST_F(NotesManagerTest, FilesAreSweptOnlyWhenItIsKnownWhatIsNeeded) {
    start({.start = Date{4'000'000'000}});  // long after anything written here
    service_ = linkedService();
    const auto lost = note(notebook(service_, "Plain"), "Lost");
    host_->settle();
    const auto stray = writeNoteFile("gone", "left.txt", "nobody's").value();
    sync();
    worker().given[0].failure(Error{"Service", 2, "Refused.", {}});
    const auto isThereAfterCleanup = [&] {
        host_->settle();
        notes().cleanupDatabase();
        host_->settle();
        return FileSystem::real().exists(stray);
    };
    EXPECT_TRUE(isThereAfterCleanup()) << "it may be a file of the note that can be brought back";
    for (const auto& record : recoveredRecords().list())
        ASSERT_TRUE(recoveredRecords().forget(record.name));

    delegate().saveCoreData();
    service_.reset();
    MailBundleUnload();
    const auto store = objectStoreFile(), aside = store.parent_path() / "aside";
    std::filesystem::rename(store, aside);
    ASSERT_TRUE(FileSystem::real().writeNew(store, std::string(5000, 'x')));
    load();
    EXPECT_TRUE(isThereAfterCleanup()) << "the store can't say which notes wait";
    MailBundleUnload();
    std::filesystem::rename(aside, store);
    load();
    EXPECT_FALSE(isThereAfterCleanup());
}

}  // namespace
}  // namespace qs
