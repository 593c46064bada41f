// The pass that hands waiting notes to the workers of their services, and what becomes of the answers.
#include "Core/QSObjectStore.h"
#include "Core/SetAsideRecords.h"
#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Notes/NotesTestSupport.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using NoteTransfersTest = NotesTest;

TEST_F(NoteTransfersTest, WaitingNotesGoOutSideBySideAndEachOnce) {
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

TEST_F(NoteTransfersTest, AnAnswerMayComeFromAnotherThread) {
    startWithService();
    const auto sent = note(plain_, "One");
    sync();
    RunLoop::main().postToGlobalQueue([success = worker().given[0].success, sent] { success(sent); });
    host_->settle();
    EXPECT_TRUE(sent->isRemote());
}

TEST_F(NoteTransfersTest, AnotherNoteThanTheOneSentIsAFault) {
    startWithService();
    const auto sent = note(plain_, "Sent"), other = note(plain_, "Other", true);
    sync();
    EXPECT_THROW(worker().given[0].success(other), AssertionFailure);
    EXPECT_TRUE(log_.contains("Note object was changed!"));
    EXPECT_FALSE(sent->isRemote());
}

TEST_F(NoteTransfersTest, AFailureForNowIsTriedAgainWithTheNextPass) {
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

TEST_F(NoteTransfersTest, AFinalFailureDeletesTheNoteAndItCanBeBroughtBack) {
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

TEST_F(NoteTransfersTest, TheFirstAnswerToANoteCounts) {
    startWithService();
    const auto out = note(plain_, "Out"), lost = note(plain_, "Lost");
    sync();
    ASSERT_THAT(worker().given, SizeIs(2));
    const Error refused{"Service", 2, "Refused.", {}};
    worker().given[0].success(out);
    worker().given[0].failure(refused);
    worker().given[0].success(out);
    worker().given[1].failure(refused);
    worker().given[1].success(lost);
    host_->settle();
    EXPECT_TRUE(out->isRemote() && !out->isDeleted());
    EXPECT_THAT(distributed_->posted, SizeIs(1));
    EXPECT_TRUE(lost->isDeleted());
}

TEST_F(NoteTransfersTest, WithoutALinkedServiceWaitingNotesStay) {
    startWithService();
    const auto waiting = note(plain_, "One");
    service_->markAsLinked(false);
    sync();
    EXPECT_FALSE(waiting->isDeleted());
    EXPECT_THAT(worker().given, IsEmpty());
}

TEST_F(NoteTransfersTest, APassEndsWithTheFirstNoteWhoseServiceIsGone) {
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

TEST_F(NoteTransfersTest, ANoteThatCannotBeSetAsideStaysAndStopsNoOthers) {
    startWithService();
    const auto gone = linkedService();
    const auto stuck = note(notebook(gone, "Lost"), "One");
    const auto misled = note(notebook(services().addServiceOfType(6), "Misled"), "Two");
    note(plain_, "Three");
    services().removeService(gone);
    const auto folder = objectStoreFile().parent_path() / "Recovered Records";
    ASSERT_TRUE(FileSystem::real().writeNew(folder, "no folder"));
    sync();
    EXPECT_THAT(worker().titles(), ElementsAre("Three"));
    EXPECT_FALSE(stuck->isDeleted() || misled->isDeleted());
    EXPECT_THAT(host_->application().notices(), IsEmpty());
    ASSERT_TRUE(FileSystem::real().remove(folder));
    sync();
    EXPECT_TRUE(stuck->isDeleted());
    EXPECT_FALSE(misled->isDeleted()) << "a pass ends with the first that it sets aside";
}

TEST_F(NoteTransfersTest, ANoteForAServiceThatTakesNoNotesIsDeleted) {
    startWithService();
    const auto box = services().addServiceOfType(6);
    const auto misled = note(notebook(box, "Misled"), "One");
    sync();
    EXPECT_TRUE(misled->isDeleted());
    EXPECT_TRUE(log_.contains("Could not find service connector for this note."));
}

TEST_F(NoteTransfersTest, PassesRunFiveSecondsAfterTheStartAndThenEveryFiveMinutes) {
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

TEST_F(NoteTransfersTest, ADraftThatACrashLeftGoesOutAfterTheNextStart) {
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
    EXPECT_THAT(worker(services().serviceWithIdentifier(identifier)).titles(), ElementsAre("Left"));
}

}  // namespace
}  // namespace qs
