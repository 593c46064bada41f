// Drafts: when they are saved, what survives a restart, a crash and a full disk, and what closing a window does.
#include "Compose/Drafts.h"

#include "AccountBook.h"
#include "Compose/HeadersEditor.h"
#include "Compose/WebViewEditor.h"
#include "ComposeSupport.h"
#include "Foundation/PropertyList.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "MailApplication.h"
#include "MailEngine.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Closing = ComposeWindow::Closing;

class DraftJourney : public ComposeJourney {
protected:
    void SetUp() override { start(); }
    std::shared_ptr<ComposeWindow> newWindow() { return host->compose("ada", "", "", ""); }
};

TEST_F(DraftJourney, ADraftIsSavedTwoSecondsAfterTheLastChange) {
    const auto window = newWindow();
    type(*window, "One");
    host->advance(1.9);
    type(*window, "One two");
    host->advance(1.9);
    EXPECT_THAT(drafts(), IsEmpty());
    host->advance(0.2);
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("One two"));
    EXPECT_THAT(window->statusText(), StartsWith("Draft saved "));
    const auto first = drafts().front().id;
    host->advance(600);
    EXPECT_EQ(drafts().front().id, first) << "without a change nothing is saved again";
}

TEST_F(DraftJourney, WhoNeverPausesIsSavedEveryThirtySeconds) {
    const auto window = newWindow();
    std::string text;
    int seenAfter = 0;
    for (int second = 1; second <= 40 && seenAfter == 0; ++second) {
        type(*window, text += "x");
        host->advance(1);
        if (!drafts().empty()) seenAfter = second;
    }
    EXPECT_GE(seenAfter, 29);
    EXPECT_LE(seenAfter, 31);
}

TEST_F(DraftJourney, WindowsInWhichNobodyWroteAnythingLeaveNoTrace) {
    const auto untouched = newWindow();
    // What a plug-in adds by itself is not the person's.
    untouched->controller()->webViewEditor()->document().body().setInnerHtml(
        "<div id=\"QuillsteadSignature\">Ada</div>");
    untouched->controller()->webViewEditor()->didChangeDocument();
    untouched->controller()->headersEditor()->bccField()->setAddresses({"archive@example.org"});
    host->advance(60);
    EXPECT_THAT(drafts(), IsEmpty());
    untouched->close(Closing::Ask);

    const auto emptied = newWindow();
    emptied->update({.subject = "x"});
    emptied->update({.subject = ""});
    host->advance(60);
    emptied->close(Closing::Ask);
    host->settle();
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_THAT(alerts->seen, IsEmpty());
    EXPECT_EQ(openWindows(), 0u);
}

TEST_F(DraftJourney, ChangesOfAPlugInInAWindowInUseAreSavedAndShown) {
    const auto window = newWindow();
    type(*window, "One");
    const int revision = window->bodyRevision();
    host->advance(3);
    window->controller()->webViewEditor()->document().body().appendChild(
        window->controller()->webViewEditor()->document().createText("links"));
    window->controller()->webViewEditor()->didChangeDocument();
    EXPECT_GT(window->bodyRevision(), revision);
    EXPECT_THAT(window->bodyHtml(), HasSubstr("links"));
    window->update({.bodyHtml = "<div>typed before the change arrived</div>", .bodyRevision = revision});
    EXPECT_THAT(window->bodyHtml(), HasSubstr("links")) << "the page's older text does not undo it";
    host->advance(3);
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("links"));
}

TEST_F(DraftJourney, ADraftSurvivesARestartWithAllThatIsInIt) {
    const std::string picture = "\x89PNG\r\n\x1A\n" + std::string(50, '\x07');
    auto window = newWindow();
    const auto inlineID = window->addAttachment("p.png", picture, true);
    ASSERT_TRUE(window->addAttachment("Notes.pdf", "pdf content", false));
    ASSERT_TRUE(inlineID);
    window->update({.account = "ben",
                    .subject = "Größe",
                    .bodyHtml = "<div>Look <img data-cid=\"" + *inlineID + "\" src=\"x\"></div>",
                    .to = std::vector<std::string>{"Cy <cy@example.org>", "not an address"},
                    .bcc = std::vector<std::string>{"dot@example.org"},
                    .plainText = true,
                    .bodyRevision = window->bodyRevision()});
    window.reset();
    host->restart();
    EXPECT_THAT(windowFolders(), IsEmpty());
    const auto saved = host->messagesOf("ben", MailboxKind::Drafts);
    ASSERT_THAT(saved, SizeIs(1)) << "the draft lies with the account that was chosen";
    const auto again = openMessage(ComposeMode::Draft, host->library().messageWithID(saved.front().id));
    EXPECT_EQ(again->accountIdentifier(), "ben");
    EXPECT_EQ(again->subject(), "Größe");
    EXPECT_THAT(again->to(), ElementsAre("Cy <cy@example.org>", "not an address"));
    EXPECT_THAT(again->bcc(), ElementsAre("dot@example.org"));
    EXPECT_TRUE(again->isPlainText());
    ASSERT_THAT(again->attachments(), SizeIs(2));
    for (const ComposeAttachment& attachment : again->attachments()) {
        const auto file = again->openAttachment(attachment.identifier);
        ASSERT_TRUE(file);
        EXPECT_EQ(startOf(sourceOf(*file), 10'000), attachment.isInline ? picture : "pdf content");
    }
    EXPECT_THAT(again->bodyHtml(), HasSubstr("data:image/png"));
    host->advance(60);
    EXPECT_EQ(host->messagesOf("ben", MailboxKind::Drafts).front().id, saved.front().id) << "opening changes nothing";
}

TEST_F(DraftJourney, ClosingAsksAndDoesWhatIsAnswered) {
    struct Case {
        const char* answer;
        std::size_t drafts, windows;
    };
    for (const Case& c : {Case{"Save", 1, 0}, Case{"Discard", 0, 0}, Case{"Cancel", 1, 1}}) {
        start();
        const auto window = newWindow();
        type(*window, "One");
        host->advance(3);
        alerts->give(c.answer);
        window->close(Closing::Ask);
        host->settle();
        EXPECT_THAT(alerts->seen, ElementsAre("Save this message as a draft?")) << c.answer;
        EXPECT_THAT(drafts(), SizeIs(c.drafts)) << c.answer;
        EXPECT_EQ(openWindows(), c.windows) << c.answer;
    }
}

TEST_F(DraftJourney, DiscardingTheChangesBringsTheDraftBackAsItWas) {
    type(*newWindow(), "As it was");
    host->advance(3);
    host->application().composeWindows().back()->close(Closing::Save);
    const auto window = openDraft();
    type(*window, "Spoilt");
    host->advance(3);
    ASSERT_THAT(textOf(drafts().front()), HasSubstr("Spoilt"));
    window->close(Closing::Discard);
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("As it was"));
}

TEST_F(DraftJourney, AnOpenDraftIsNotOpenedTwice) {
    type(*newWindow(), "One");
    host->advance(3);
    const auto same = openDraft();
    EXPECT_EQ(same, host->application().composeWindows().front());
    EXPECT_EQ(openWindows(), 1u);
}

TEST_F(DraftJourney, TheOriginalStaysWhatTheWindowWasOpenedFrom) {
    const auto window = newWindow();
    EXPECT_FALSE(window->controller()->backEnd()->originalMessage());
    type(*window, "One");
    host->advance(3);
    EXPECT_FALSE(window->controller()->backEnd()->originalMessage()) << "saving makes no original";
    window->close(Closing::Save);

    const auto opened = openDraft();
    const auto backEnd = opened->controller()->backEnd();
    type(*opened, "Two");
    host->advance(3);
    ASSERT_TRUE(backEnd->originalMessage());
    const auto headers = backEnd->originalMessage()->headersIfAvailable();
    ASSERT_TRUE(headers) << "though its file is gone by now";
    EXPECT_EQ(headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier), drafts().front().uniqueID);
}

TEST_F(DraftJourney, AFullDiskKeepsTextAndFormerVersion) {
    const auto window = newWindow();
    type(*window, "One");
    host->advance(3);
    disk.fillUp("Drafts");
    type(*window, "Two");
    host->advance(3);
    EXPECT_THAT(window->statusText(), StartsWith("The draft could not be saved"));
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("One"));
    window->close(Closing::Save);
    host->settle();
    EXPECT_EQ(openWindows(), 1u) << "a window whose text is nowhere else stays";
    EXPECT_THAT(alerts->seen, ElementsAre("The draft could not be saved"));
    disk.fillUp({});
    host->advance(31);
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("Two")) << "tried again without being asked";
}

TEST_F(DraftJourney, TheNewerOfTwoVersionsIsKeptAfterACrash) {
    const auto window = newWindow();
    type(*window, "Older");
    host->advance(3);
    // The former version can't be erased, as if the program had ended just there.
    disk.keepAll("Drafts/cur");
    type(*window, "Newer");
    host->advance(3);
    ASSERT_THAT(drafts(), SizeIs(2));
    const auto uniqueID = drafts().front().uniqueID;
    disk.keepAll({});
    host->restart();
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_EQ(drafts().front().uniqueID, uniqueID);
    EXPECT_THAT(textOf(drafts().front()), HasSubstr("Newer"));
    EXPECT_THAT(host->messagesOf("ada", MailboxKind::Trash), SizeIs(1)) << "the other can still be looked up";
}

// What a crash right after the message reached the outbox, or right before, leaves: the note of the send, and the
// draft.
class CrashDuringSend : public DraftJourney {
protected:
    void leaveNote(std::string_view messageID, std::string_view uniqueID) {
        const auto folder = host->dataFolder() / "Compose" / "U-CRASHED";
        ASSERT_TRUE(FileSystem::real().makeFolder(folder));
        const Dictionary note = {{"MessageID", messageID}, {"UniqueID", uniqueID}, {"Subject", "Minutes"}};
        ASSERT_TRUE(FileSystem::real().replace(folder / "sending.plist", xmlPropertyList(note)));
        ASSERT_TRUE(FileSystem::real().writeNew(folder / "attachment", "content"));
    }
    MessageSummary draftInSpite() {
        type(*host->compose("ada", "ben@example.org", "Minutes", ""), "All agreed.");
        host->advance(3);
        return drafts().at(0);
    }
};

TEST_F(CrashDuringSend, AMessageThatReachedTheOutboxLosesItsDraft) {
    const MessageSummary draft = draftInSpite();
    const std::string content = contentOf(draft);
    host->application().composeWindows().back()->send();
    host->advance(60);
    ASSERT_THAT(sent(), SizeIs(1));
    ASSERT_TRUE(host->library().add(*host->library().mailbox("ada", MailboxKind::Drafts, true), content,
                                    {.seen = true, .draft = true}, draft.received));
    leaveNote(sent().front().messageID, draft.uniqueID);
    host->restart();
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_THAT(windowFolders(), IsEmpty());
    EXPECT_THAT(host->application().notices(), IsEmpty());
}

TEST_F(CrashDuringSend, AMessageThatDidNotStaysADraftAndThePersonIsTold) {
    const MessageSummary draft = draftInSpite();
    host->application().composeWindows().back()->close(Closing::Save);
    leaveNote("never-appended@example.org", draft.uniqueID);
    host->restart();
    EXPECT_THAT(drafts(), SizeIs(1));
    EXPECT_THAT(windowFolders(), IsEmpty());
    ASSERT_THAT(host->application().notices(), SizeIs(1));
    EXPECT_THAT(host->application().notices().front().text, HasSubstr("“Minutes” was not sent"));
}

}  // namespace
}  // namespace qs
