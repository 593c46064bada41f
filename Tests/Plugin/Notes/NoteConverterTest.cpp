// What all workers of note services share: their factory, and keeping the list of notebooks in step with the service.
#include "NoteConverter/QSNoteConverter.h"

#include "Foundation/Assertion.h"
#include "Notes/NotesTestSupport.h"
#include "Services/SlaveClasses.h"

namespace qs {
namespace {

using ::testing::ElementsAre;

using NoteConverterTest = NotesTest;

TEST_F(NoteConverterTest, TheFactoryKnowsItsOwnTypesAlone) {
    start();
    EXPECT_EQ(QSNoteConverter::classForServiceType(10)->name, "QSEvernoteConverter");
    EXPECT_EQ(QSNoteConverter::classForServiceType(18)->name, "QSOneNoteConverter");
    for (const int other : {6, 17, 23, -1})
        EXPECT_THROW(QSNoteConverter::classForServiceType(other), AssertionFailure) << other;
    EXPECT_TRUE(log_.contains("Invalid class type requested: 17"));
}

TEST_F(NoteConverterTest, ByItselfItConvertsNothingAndSupportsNothing) {
    start();
    QSNoteConverter plain;
    bool wasCalled = false;
    plain.convertNote(
        nullptr, [&](const auto&) { wasCalled = true; }, [&](const auto&) { wasCalled = true; });
    EXPECT_FALSE(wasCalled || plain.supportsTags() || plain.supportsAttachments() || plain.supportsReminders());
    EXPECT_EQ(TestNoteConverter::notebookMissing().description, "Please select a valid notebook for this note.");
}

TEST_F(NoteConverterTest, NotebooksFollowTheService) {
    start();
    const auto service = linkedService(), other = linkedService();
    notebook(other, "Another service's");
    auto& converter = worker(service);
    converter.updateNotebooks({{"1", "One"}, {"2", "Two", false, true}, {"3", "Three", true}});
    const auto two = notes().notebookWithIdentifier("2");
    note(two, "In two");
    int announced = 0;
    const auto observation = notes().addObserver("allNotebooks", [&](bool isPrior) { announced += isPrior ? 1 : 10; });
    int told = 0;
    const auto accounts =
        services().addObserver("mailAccountSettings", [&](bool isPrior) { told += isPrior ? 1 : 10; });
    converter.updateNotebooks({{"2", "Second"}, {"3", "Three"}});
    EXPECT_EQ(announced, 11);
    EXPECT_EQ(told, 11);
    EXPECT_THAT(namesOf(notes().notebooksWithServiceIdentifier(service->uniqueIdentifier())),
                ElementsAre("Second", "Three"));
    EXPECT_EQ(notes().notebookWithIdentifier("2"), two);
    EXPECT_FALSE(notes().notebookWithIdentifier("3")->isBusiness());
    EXPECT_NE(notes().notebookWithIdentifier("id of Another service's"), nullptr);

    converter.updateNotebooks({});
    EXPECT_EQ(notes().noteWithIdentifier("id of In two")->notebook(), nullptr);
}

TEST_F(NoteConverterTest, AFallbackIsForAccountsWhoseDefaultIsNone) {
    start();
    const auto chosen = notebook(linkedService(), "Chosen");
    const auto stored = [&](const char* account) {
        return defaults().objectForKey(std::string("QSQuillstead_Default_") + account).stringValue();
    };
    notes().setDefaultFallbackNotebook(chosen);
    EXPECT_EQ(stored("ada") + stored("ben"), "") << "the first of all is everybody's default";
    notes().deleteNotebooks({chosen});
    notes().setDefaultFallbackNotebook(chosen);
    EXPECT_EQ(stored("ada"), "id of Chosen");
    EXPECT_EQ(stored("ben"), "id of Chosen");
}

TEST_F(NoteConverterTest, ABusinessNotebookIsMarkedInMenus) {
    start();
    const auto made = notebook(linkedService(), "Sales");
    EXPECT_EQ(made->description(), "Sales");
    made->setIsBusiness(true);
    EXPECT_EQ(made->description(), "Sales\u00A0(💼)");
    EXPECT_EQ(made->icon(), "plugin:OneNote_Icon");
}

}  // namespace
}  // namespace qs
