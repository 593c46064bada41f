// Notes as a person makes them in the viewer: of one message, of a part of it, of several; what is said when it can't
// be done.
#include "Foundation/FileSystem.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "Notes/NotesTestSupport.h"
#include "PreferencesWindow.h"
#include "Responders.h"
#include "Support/AlertAnswers.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

const Operation<void(HostObject* sender)> createQuickNote{"createQuickNote:"};
const Operation<void(HostObject* sender)> createNoteWithDialog{"createNoteWithDialog:"};
const Operation<void(int tag)> createNoteWithActionTag{"createNoteWithActionTag:"};

constexpr const char* kWithAttachment =
    "From: \"Lovelace, Ada\" <ada@mill.example>\r\nTo: Ben <ben@example.org>, ada@example.org\r\nCc: c@example.org\r\n"
    "Date: Mon, 23 Nov 2026 10:00:00 +0000\r\nSubject: Paper\r\nMessage-Id: <one@mill.example>\r\n"
    "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=B\r\n\r\n"
    "--B\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
    "<html><head><title>T</title><style>p{color:red}</style></head><body><!-- secret --><p>It\u00A0is ready.</p>"
    "<script>evil()</script><div class=\"AppleOriginalContents\">Wrote</div>"
    "<blockquote type=\"cite\"><p>Quoted</p></blockquote><img src=\"https://pixel.example/1.png\"></body></html>\r\n"
    "--B\r\nContent-Type: text/plain; name=\"../plan.txt\"\r\nContent-Disposition: attachment; "
    "filename=\"../plan.txt\"\r\n\r\nThe plan\r\n--B--\r\n";

class NoteActionsTest : public NotesTest {
protected:
    std::shared_ptr<FormModel> sheet() { return host_->viewer().window()->currentSheet(); }
    void press(int button) {
        const FormButton pressed = sheet()->buttons[static_cast<std::size_t>(button)];
        if (pressed.action)
            pressed.action();
        else
            host_->viewer().window()->endSheet(*sheet(), pressed.code);
        host_->settle();
    }
    void enter(const char* control, const Value& value) {
        FormControl& meant = *sheet()->control(control);
        meant.value = value;
        meant.onChange ? meant.onChange(value) : void();
    }
    std::shared_ptr<QSNote> onlyNote() {
        const auto all = context().fetch<QSNote>().value();
        return all.size() == 1 ? all.front() : nullptr;
    }
};

TEST_F(NoteActionsTest, AQuickNoteHasAllOfTheMailAndGoesOutAtOnce) {
    for (const int minor : {10, 11, 12}) {
        startWithService({.osMinor = minor});
        const auto other = notebook(service_, "Other");
        notes().setDefaultNotebook(other, "ada");
        notes().setLastUsedNotebook(plain_, "ada");
        select({add(kWithAttachment)});
        createQuickNote(host_->viewer(), nullptr);
        host_->settle();
        const auto note = onlyNote();
        ASSERT_TRUE(note) << minor;
        EXPECT_EQ(note->notebook(), other);
        EXPECT_TRUE(note->addAttachments());
        EXPECT_TRUE(note->transmitting());
        EXPECT_EQ(note->title(), "Paper");
        EXPECT_EQ(note->messageID(), "one@mill.example");
        EXPECT_EQ(note->messageURLString(), "message://one@mill.example");
        EXPECT_THAT(*note->content(),
                    AllOf(HasSubstr("It&nbsp;is ready."), HasSubstr("Quoted"), HasSubstr("https://pixel.example/1.png"),
                          Not(HasSubstr("secret")), Not(HasSubstr("evil")), Not(HasSubstr("<head"))));
        ASSERT_THAT(note->attachments(), SizeIs(1));
        EXPECT_THAT(note->attachments()[0], HasSubstr("/plan.txt"));
        EXPECT_EQ(FileSystem::real().read(note->attachments()[0]).value(), "The plan");
        const auto info = note->mailInfo();
        EXPECT_THAT(info.at("QSMailSender"), HasSubstr("ada@mill.example"));
        EXPECT_EQ(info.at("QSMailSubject"), "Paper");
        EXPECT_EQ(info.at("QSMailDateString"), "Mon, 23 Nov 2026 10:00:00 +0000");
        EXPECT_EQ(info.at("QSMailRecipients"), "Ben <ben@example.org>, ada@example.org");
        EXPECT_EQ(info.at("QSMailCcRecipients"), "c@example.org");
        EXPECT_THAT(info.at("QSMailRawSource"), HasSubstr("--B--"));
        TearDown();
    }
}

TEST_F(NoteActionsTest, QuotedMailStaysOutWhenTheSettingsSaySo) {
    startWithService();
    defaults().setObject(false, "QSNotesIncludeCorrespondence");
    select({add(kWithAttachment)});
    createQuickNote(host_->viewer(), nullptr);
    EXPECT_THAT(*onlyNote()->content(), AllOf(HasSubstr("ready"), Not(HasSubstr("Wrote")), Not(HasSubstr("Quoted"))));
}

TEST_F(NoteActionsTest, APlainTextKeepsItsLinesAndIsNoMarkup) {
    startWithService();
    select({add(simple("p@x.example", "One < two\r\nthree"))});
    createQuickNote(host_->viewer(), nullptr);
    EXPECT_THAT(*onlyNote()->content(), HasSubstr("One &lt; two<br>three"));
}

TEST_F(NoteActionsTest, WhatIsSelectedBecomesTheNoteAndIsMadeSafe) {
    startWithService();
    const auto message = add(kWithAttachment), other = add(simple("o@x.example"));
    select({message});
    host_->viewer().setSelectedText(message->libraryID(), "<p onclick=\"evil()\">ready<script>evil()</script></p>");
    createQuickNote(host_->viewer(), nullptr);
    EXPECT_THAT(*onlyNote()->content(),
                AllOf(HasSubstr("<p>ready</p>"), Not(HasSubstr("evil")), Not(HasSubstr("Quoted"))));
    EXPECT_THAT(onlyNote()->attachments(), SizeIs(1)) << "still the whole message's";

    notes().deleteNote(onlyNote());
    select({other});
    createQuickNote(host_->viewer(), nullptr);
    EXPECT_THAT(*onlyNote()->content(), HasSubstr("Text of it")) << "a selection in another message is none in this";
}

TEST_F(NoteActionsTest, SeveralMessagesBecomeNotesOfTheirAccountsWithoutASheet) {
    for (const int minor : {11, 12}) {
        startWithService({.osMinor = minor});
        const auto bens = notebook(service_, "Ben's");
        notes().setDefaultNotebook(bens, "ben");
        host_->viewer().selectMailbox("");
        select({add(simple("a@x.example", "<head></head><p>A &amp; O</p>", "text/html")), add(simple("", "no id")),
                add(simple("pic@x.example", "abc", "image/png")), add(simple("b@x.example"), "ben")});
        createNoteWithDialog(host_->viewer(), nullptr);
        host_->settle();
        EXPECT_EQ(sheet(), nullptr);
        const auto a = notes().notesForMessageID("a@x.example"), b = notes().notesForMessageID("b@x.example");
        ASSERT_TRUE(a.size() == 1 && b.size() == 1) << minor;
        EXPECT_THAT(*a[0]->content(), HasSubstr("<p>A &amp; O</p>"));
        EXPECT_EQ(a[0]->notebook(), notes().defaultNotebookForAccountIdentifier("ada"));
        EXPECT_EQ(b[0]->notebook(), bens);
        EXPECT_THAT(*b[0]->content(), HasSubstr("Text of it"));
        EXPECT_TRUE(a[0]->addAttachments());
        EXPECT_THAT(context().fetch<QSNote>().value(), SizeIs(2));
        EXPECT_THAT(worker(service_).given, SizeIs(2));
        TearDown();
    }
}

TEST_F(NoteActionsTest, ASheetShowsTheNoteAndSavingItSendsIt) {
    startWithService();
    const auto business = notebook(service_, "Sales");
    business->setIsBusiness(true);
    worker(service_).setAvailableTagNames({"paper", "work"});
    defaults().setObject(Array{"mail"}, "QSNotesTags");
    select({add(kWithAttachment)});
    createNoteWithDialog(host_->viewer(), nullptr);
    host_->settle();
    ASSERT_TRUE(sheet());
    EXPECT_EQ(sheet()->control("addAttachments")->label, "Include email attachments (1)");
    EXPECT_TRUE(sheet()->control("addAttachments")->enabled);
    EXPECT_EQ(sheet()->buttons[0].title, "Save");
    EXPECT_EQ(sheet()->control("notebook")->options[1].title, "Sales\u00A0(💼)");
    EXPECT_EQ(sheet()->control("notebook")->options[1].imageName, "plugin:OneNote_Icon");
    EXPECT_THAT(sheet()->control("tags")->options, SizeIs(2));
    EXPECT_EQ(sheet()->control("reminderDate")->earliest->secondsSince1970, host_->loop().now().secondsSince1970);

    enter("title", "Paper, again");
    enter("notebook", "id of Sales");
    enter("tags", Array{"work", "one, two"});
    enter("content", "<p>Mine</p>");
    enter("useReminder", true);
    EXPECT_THAT(worker(service_).given, IsEmpty());
    press(0);
    EXPECT_EQ(sheet(), nullptr);
    ASSERT_THAT(worker(service_).given, SizeIs(1));
    const auto note = onlyNote();
    EXPECT_EQ(note->title(), "Paper, again");
    EXPECT_EQ(note->notebook(), business);
    EXPECT_THAT(note->tagNames(), ElementsAre("one", "two", "work"));
    EXPECT_EQ(note->content(), "<p>Mine</p>");
    EXPECT_TRUE(note->useReminder() && note->reminderDate());
    EXPECT_EQ(notes().lastUsedNotebookForAccountIdentifier("ada"), business);
}

TEST_F(NoteActionsTest, AnEmptyTagFieldKeepsTheTagsAndCancellingLeavesNothing) {
    startWithService();
    defaults().setObject(Array{"mail"}, "QSNotesTags");
    select({add(kWithAttachment)});
    for (const bool saves : {true, false}) {
        createNoteWithDialog(host_->viewer(), nullptr);
        host_->settle();
        const auto note = notes().pendingNotes().back();
        const auto file = note->attachments()[0];
        enter("tags", Array{});
        press(saves ? 0 : 1);
        EXPECT_EQ(note->isDeleted(), !saves);
        EXPECT_EQ(FileSystem::real().exists(file), saves);
        if (!saves) continue;
        EXPECT_THAT(note->tagNames(), ElementsAre("mail"));
    }
    EXPECT_THAT(worker(service_).given, SizeIs(1));
}

TEST_F(NoteActionsTest, TheSheetHidesWhatTheServiceCantTake) {
    startWithService();
    const auto modest = linkedService();
    worker(modest).supports = false;
    notebook(modest, "Modest");
    select({add(simple("p@x.example"))});
    createNoteWithDialog(host_->viewer(), nullptr);
    host_->settle();
    const auto hidden = [&] {
        std::vector<bool> found;
        for (const char* each : {"tags", "addAttachments", "useReminder", "reminderDate"})
            found.push_back(sheet()->control(each)->hidden);
        return found;
    };
    enter("notebook", "id of Plain");
    EXPECT_THAT(hidden(), ElementsAre(false, false, false, false));
    EXPECT_EQ(sheet()->control("addAttachments")->label, "Include email attachments (No attachments)");
    EXPECT_FALSE(sheet()->control("addAttachments")->enabled);
    enter("notebook", "id of Modest");
    EXPECT_THAT(hidden(), ElementsAre(true, true, true, true));
}

TEST_F(NoteActionsTest, WhatKeepsANoteFromBeingMadeIsTold) {
    start();
    AlertAnswers answers;
    const auto good = add(simple("p@x.example")), nameless = add(simple(""));
    select({nameless});
    createNoteWithActionTag(host_->viewer(), 4416);
    select({good});
    createNoteWithActionTag(host_->viewer(), 4416);  // there is no notebook
    select({});
    createNoteWithActionTag(host_->viewer(), 4416);
    EXPECT_THAT(answers.seen, ElementsAre("Failed to create note", "Failed to create note"));
    EXPECT_THAT(answers.texts, ElementsAre("Selected message does not have a valid message identifier.",
                                           "Could not create internal note."));
    EXPECT_THAT(context().fetch<QSNote>().value(), IsEmpty());
    EXPECT_TRUE(log_.contains("Cannot create a note without a connected notebook!"));
}

TEST_F(NoteActionsTest, AMessageWithoutContentEndsARunAndWhatWasMadeStays) {
    startWithService();
    AlertAnswers answers;
    MessageList added;
    const std::string empty = "Subject: Empty\r\nMessage-Id: <b@x.example>\r\nContent-Type: text/html\r\n\r\n";
    for (const std::string& content : {simple("a@x.example"), empty, simple("c@x.example")}) {
        added.push_back(add(content));
        host_->advance(1);
    }
    select(added);
    const auto first = host_->viewer().selectedMessages().front()->messageID();
    createQuickNote(host_->viewer(), nullptr);
    host_->settle();
    EXPECT_THAT(answers.seen, ElementsAre("Failed to create note"));
    EXPECT_THAT(answers.texts, ElementsAre("Could not extract the contents of the selected message."));
    ASSERT_TRUE(onlyNote());
    EXPECT_EQ(onlyNote()->messageID(), first);
    EXPECT_THAT(worker(service_).given, SizeIs(1));
}

TEST_F(NoteActionsTest, ACancelledNoteThatTheStoreStillHasKeepsItsFiles) {
    startWithService();
    select({add(kWithAttachment)});
    createNoteWithDialog(host_->viewer(), nullptr);
    host_->settle();
    delegate().saveCoreData();
    const auto file = onlyNote()->attachments()[0];
    auto editor = context().registerEditor([] { return false; });
    press(1);
    EXPECT_EQ(onlyNote(), nullptr);
    EXPECT_TRUE(FileSystem::real().exists(file)) << "after a crash the note would be there again";
}

TEST_F(NoteActionsTest, WithoutAServiceTheServicesAreOffered) {
    start();
    select({add(simple("p@x.example"))});
    AlertAnswers answers;
    answers.give("Not now");
    createQuickNote(host_->viewer(), nullptr);
    EXPECT_FALSE(host_->application().preferences().preferenceWindow()->isVisible());
    answers.give("Yes");
    createNoteWithDialog(host_->viewer(), nullptr);
    host_->settle();
    EXPECT_THAT(answers.seen, ElementsAre("No notes service available", "No notes service available"));
    EXPECT_EQ(answers.texts.front(),
              "Before you can create notes from your emails, you need to link Quillstead to a notes "
              "service. Do you want to do this now?");
    EXPECT_EQ(host_->application().preferences().selectedModule(), "Quillstead");
    EXPECT_EQ(host_->application().preferences().form()->shownGroup, "Services");
    EXPECT_EQ(sheet(), nullptr);
}

}  // namespace
}  // namespace qs
