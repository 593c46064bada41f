// The plug-in's store as the rest of the plug-in meets it: when it is made, who may touch it, how a save fails.
#include <fstream>
#include <thread>

#include "Core/QSObjectStore.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/Assertion.h"
#include "Models/Alert.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "PluginTest.h"
#include "Reminder/QSReminder.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ObjectStore : public PluginTest {
protected:
    ManagedObjectContext& context() { return delegate().managedObjectContext(); }
    // The text of the assertion that fails; empty when none does.
    static std::string assertionOf(const std::function<void()>& work) {
        try {
            work();
        } catch (const AssertionFailure& failure) {
            return failure.what();
        }
        return {};
    }
    // Saves; answers the texts of the dialogs that it shows.
    std::vector<std::string> dialogsOfSave() {
        std::vector<std::string> texts;
        RunLoop::main().post([&] {
            for (Alert* alert : AlertCentre::shared().shown()) {
                texts.push_back(alert->messageText);
                AlertCentre::shared().answer(alert->identifier, 0, false);
            }
        });
        delegate().saveCoreData();
        host_->settle();
        return texts;
    }
    void addFaultyPixels(int count) {
        for (int i = 0; i < count; ++i)
            context().insertNew<QSTrackingPixel>();
    }
};

TEST_F(ObjectStore, IsNotMadeBeforeItIsAskedFor) {
    startHost();
    delegate().saveCoreData();
    delegate().appWillResignActive();
    host_->advance(60);
    EXPECT_FALSE(std::filesystem::exists(objectStoreFile()));
    EXPECT_EQ(objectStoreFile(), host_->dataFolder() / "Documents/QuillsteadData.sqlite");
    (void)context();
    EXPECT_TRUE(std::filesystem::exists(objectStoreFile()));
    restart();
    EXPECT_THAT(dialogsOfSave(), IsEmpty()) << "builds the context and finds no changes";
}

TEST_F(ObjectStore, HoldsTheRecordsOfTrackingNotesAndReminders) {
    startHost();
    defaults().setObject(Array{"mail", 7, "quick"}, "QSNotesTags");
    auto pixel = context().insertNew<QSTrackingPixel>();
    pixel->setUuid("A-1");
    pixel->setCreated(Date{1000.5});
    for (const double date : {30.0, 10.0, 20.0}) {
        auto open = context().insertNew<QSTrackingPixelOpen>();
        open->setDate(Date{date});
        open->setCity("Bath");
        open->setPixel(pixel);
    }
    auto notebook = context().insertNew<QSNotebook>();
    notebook->setUniqueIdentifier("B1");
    notebook->setName("Recipes");
    notebook->setIsBusiness(true);
    auto note = context().insertNew<QSNote>();
    EXPECT_TRUE(note->draft());
    note->setUniqueIdentifier("N1");
    note->setNotebook(notebook);
    note->setAttachments({"/tmp/a", "/tmp/b"});
    note->setMailInfo({{std::string(QSMailSubject), "Minutes"}});
    note->setMessageID("<1@example.org>");
    auto list = context().insertNew<QSReminderList>();
    list->setUniqueIdentifier("L1");
    auto reminder = context().insertNew<QSReminder>();
    reminder->setUniqueIdentifier("R1");
    reminder->setList(list);
    reminder->setDirty(true);
    EXPECT_THAT(dialogsOfSave(), IsEmpty());
    pixel.reset(), notebook.reset(), note.reset(), list.reset(), reminder.reset();
    restart();

    pixel = context().fetch<QSTrackingPixel>(QSTrackingPixel::kUuid.is("A-1"))->front();
    EXPECT_FALSE(pixel->isRemote());
    EXPECT_FALSE(pixel->messageID());
    EXPECT_EQ(pixel->created(), Date{1000.5});
    EXPECT_EQ(pixel->firstOpen(), Date{10});
    EXPECT_EQ(pixel->lastOpen(), Date{30});
    EXPECT_EQ(pixel->sortedOpensByDate()[1]->date(), Date{20});
    EXPECT_EQ(pixel->opens().front()->city(), "Bath");
    EXPECT_EQ(context().fetch<QSTrackingPixel>(QSTrackingPixel::kIsRemote.is(false))->size(), 1u);
    EXPECT_THAT(*context().fetch<QSTrackingPixel>(QSTrackingPixel::kOpens.countIs(0)), IsEmpty());
    note = context().fetch<QSNote>(QSNote::kMessageID.is("<1@example.org>") && QSNote::kIsRemote.is(false))->front();
    EXPECT_FALSE(note->draft());
    EXPECT_EQ(note->notebook()->description(), "Recipes\u00A0(💼)");
    EXPECT_THAT(note->attachments(), ElementsAre("/tmp/a", "/tmp/b"));
    EXPECT_THAT(note->tagNames(), ElementsAre("mail", "quick"));
    EXPECT_THAT(note->mailInfo(), ElementsAre(std::pair{"QSMailSubject", "Minutes"}));
    EXPECT_EQ(note->messageURLString(), "message://<1@example.org>");
    reminder = context().fetch<QSReminder>()->front();
    EXPECT_FALSE(reminder->dirty());
    EXPECT_EQ(reminder->type(), kReminderTypeFollowUp);
    EXPECT_FALSE(reminder->completed());

    // A pixel takes its opens along; notes and reminders outlive notebook and list.
    context().deleteObject(*pixel);
    context().deleteObject(*note->notebook());
    context().deleteObject(*reminder->list());
    EXPECT_THAT(dialogsOfSave(), IsEmpty());
    EXPECT_THAT(*context().fetch<QSTrackingPixelOpen>(), IsEmpty());
    EXPECT_EQ(note->notebook(), nullptr);
    EXPECT_EQ(reminder->list(), nullptr);
    EXPECT_EQ(context().fetch<QSNote>()->size(), 1u);
    EXPECT_EQ(context().fetch<QSReminder>()->size(), 1u);
}

TEST_F(ObjectStore, ARemindersNotesCarryTheAddressOfItsMessage) {
    startHost();
    const auto reminder = context().insertNew<QSReminder>();
    reminder->setUniqueIdentifier("R1");
    EXPECT_EQ(reminder->notesIncludingMessageURLStringInSingleLine(true), std::nullopt);
    reminder->setNotes("Call");
    EXPECT_EQ(reminder->notesIncludingMessageURLStringInSingleLine(true), "Call");
    reminder->setMessageID("1@x");
    EXPECT_EQ(reminder->notesIncludingMessageURLStringInSingleLine(true), "Call | message://1@x");
    EXPECT_EQ(reminder->notesIncludingMessageURLStringInSingleLine(false), "Call\n\nmessage://1@x");
    reminder->setNotes(std::nullopt);
    EXPECT_EQ(reminder->notesIncludingMessageURLStringInSingleLine(false), "message://1@x");
}

TEST_F(ObjectStore, IsTheMainThreadsAlone) {
    startHost();
    for (const char* when : {"before it exists", "when it exists"}) {
        std::string failure;
        std::thread([&] { failure = assertionOf([&] { (void)delegate().managedObjectContext(); }); }).join();
        EXPECT_EQ(failure, "Core Data needs to run on the main thread only!!!") << when;
        (void)context();
    }
}

TEST_F(ObjectStore, ADamagedFileIsToldAndLeftAlone) {
    startHost();
    std::filesystem::create_directories(objectStoreFile().parent_path());
    std::ofstream(objectStoreFile()) << std::string(5000, 'x');
    bool servicesSaved = false;
    hooks().saveServices = [&] { servicesSaved = true; };
    for (int i = 0; i < 2; ++i) {
        const std::string failure = assertionOf([&] { delegate().appWillTerminate(); });
        EXPECT_THAT(failure, ::testing::StartsWith("Error initializing persistent store coordinator: The file "
                                                   "“QuillsteadData.sqlite” is damaged."));
        EXPECT_THAT(failure, HasSubstr("\n{"));
        EXPECT_THAT(failure, HasSubstr("NSFilePath = " + objectStoreFile().string()));
    }
    EXPECT_TRUE(servicesSaved) << "what comes after the store is saved all the same";
    EXPECT_EQ(std::filesystem::file_size(objectStoreFile()), 5000u);
    ASSERT_EQ(host_->application().notices().size(), 1u) << "the person is told once";
    EXPECT_THAT(host_->application().notices().front().text, HasSubstr("is damaged"));
    hooks() = {};
}

TEST_F(ObjectStore, TellsOneFaultAsItIsAndSeveralAsAList) {
    startHost();
    const std::string fault = "uuid is a required value (TrackingPixel).\n";
    struct Case {
        int faults;
        std::string text;
    };
    int made = 0;
    for (const Case& c : {Case{1, "uuid is a required value (TrackingPixel)."},
                          Case{2, "2 validation errors have occurred:\n" + fault + fault},
                          Case{3, "3 validation errors have occurred:\n" + fault + fault + fault},
                          Case{4, "4 validation errors have occurred.\nThe first 3 are:\n" + fault + fault + fault}}) {
        addFaultyPixels(c.faults - std::exchange(made, c.faults));
        EXPECT_THAT(dialogsOfSave(), ElementsAre(c.text)) << c.faults;
        EXPECT_TRUE(context().hasChanges()) << "the next save tries again";
    }
    const auto pixels = context().fetch<QSTrackingPixel>();
    for (const auto& pixel : *pixels)
        pixel->setUuid("now with one");
    // Such an error without a list counts as one.
    EXPECT_EQ(withListOfDetails({"Any", 1560, "All is wrong.", {{"key", 1}}}).description,
              "1 validation errors have occurred:\nAll is wrong.\n");
    EXPECT_THAT(dialogsOfSave(), IsEmpty());
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(ObjectStore, WhileAnErrorIsShownFurtherSavesOpenNoOtherDialog) {
    startHost();
    addFaultyPixels(1);
    std::size_t shown = 0;
    RunLoop::main().post([&] {
        delegate().saveCoreData();
        shown = AlertCentre::shared().shown().size();
        AlertCentre::shared().answer(AlertCentre::shared().shown().front()->identifier, 0, false);
    });
    delegate().saveCoreData();
    EXPECT_EQ(shown, 1u);
    EXPECT_EQ(dialogsOfSave().size(), 1u) << "the next attempt tells again";
}

TEST_F(ObjectStore, AnEditorThatIsNotReadyStopsTheSave) {
    startHost();
    context().insertNew<QSReminderList>()->setUniqueIdentifier("L1");
    auto editor = context().registerEditor([] { return false; });
    delegate().saveCoreData();
    EXPECT_TRUE(context().hasChanges());
    editor.reset();
    delegate().saveCoreData();
    EXPECT_FALSE(context().hasChanges());
}

}  // namespace
}  // namespace qs
