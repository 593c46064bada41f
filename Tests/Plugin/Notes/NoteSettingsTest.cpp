// Notes in the preferences: the accounts' notebooks, and notes that could not be sent.
#include "Core/SetAsideRecords.h"
#include "Models/Form.h"
#include "Notes/NotesTestSupport.h"
#include "PreferencesWindow.h"
#include "Support/AlertAnswers.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class NoteSettingsTest : public NotesTest {
protected:
    FormControl* control(const char* id) {
        host_->application().preferences().show("Quillstead");
        form_ = host_->application().preferences().form();
        return form_->control(id);
    }
    std::shared_ptr<FormModel> form_;
};

TEST_F(NoteSettingsTest, EachAccountHasItsNotebook) {
    start();
    EXPECT_EQ(control("defaultNotebook-ada"), nullptr);
    const auto service = linkedService();
    notebook(service, "A");
    notebook(service, "B");
    ASSERT_TRUE(control("defaultNotebook-ada"));
    EXPECT_EQ(control("defaultNotebook-ada")->value.stringValue(), "id of A");
    control("defaultNotebook-ben")->onChange("id of B");
    EXPECT_EQ(control("defaultNotebook-ben")->value.stringValue(), "id of B");
    EXPECT_EQ(control("defaultNotebook-ada")->value.stringValue(), "id of A");
    EXPECT_EQ(notes().defaultNotebookForAccountIdentifier("ben")->name(), "B");
}

TEST_F(NoteSettingsTest, ANoteThatCouldNotBeSentIsBroughtBackAndGoesOut) {
    start();
    const auto service = linkedService();
    const auto lost = note(notebook(service, "A"), "Lost");
    lost->setContent("<p>All of it</p>");
    notes().syncWithServices();
    host_->settle();
    worker(service).given[0].failure(Error{"Service", 1, "Refused.", {}});
    host_->settle();
    ASSERT_TRUE(control("setAsideNotes"));
    const auto rows = control("setAsideNotes")->options;
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows[0].title, "Lost");
    EXPECT_EQ(rows[0].detail, "Refused.");

    const auto notebooks = notes().allNotebooks();
    notes().deleteNotebooks(notebooks);
    AlertAnswers answers;
    control("setAsideNotes")->onChange(rows[0].value);
    EXPECT_THAT(answers.seen, ElementsAre("The Note Can't Be Brought Back"));
    EXPECT_THAT(answers.texts, ElementsAre("Please link Quillstead to a notes service first."));
    notebook(service, "Another");
    {
        auto editor = context().registerEditor([] { return false; });
        control("setAsideNotes")->onChange(rows[0].value);
        host_->settle();
    }
    EXPECT_THAT(notes().pendingNotes(), IsEmpty()) << "what could not be saved";
    ASSERT_TRUE(control("setAsideNotes")) << "can still be brought back";
    EXPECT_THAT(worker(service).given, SizeIs(1));
    control("setAsideNotes")->onChange(rows[0].value);
    host_->settle();
    ASSERT_THAT(worker(service).titles(), ElementsAre("Lost", "Lost"));
    EXPECT_EQ(worker(service).given[1].note->content(), "<p>All of it</p>");
    EXPECT_EQ(worker(service).given[1].note->notebook()->name(), "Another");
    EXPECT_EQ(control("setAsideNotes"), nullptr);
    EXPECT_THAT(recoveredRecords().list(), IsEmpty());
}

}  // namespace
}  // namespace qs
