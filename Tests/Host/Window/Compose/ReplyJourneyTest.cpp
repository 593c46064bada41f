// Answering and forwarding in the real windows: what is taken over, and what is marked afterwards.
#include "ComposeSupport.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string kPicture = "\x89PNG\r\n\x1A\n";
// A mail with text, HTML with a picture of its own and one from elsewhere, and a file.
const char* const kRichMail = "From: Cy <cy@example.org>\r\n"
                              "To: Ada <ada@second.example>\r\n"
                              "Subject: Plans\r\n"
                              "Date: Sun, 22 Nov 2026 10:00:00 +0000\r\n"
                              "Message-Id: <plans@example.org>\r\n"
                              "MIME-Version: 1.0\r\n"
                              "Content-Type: multipart/mixed; boundary=m\r\n\r\n"
                              "--m\r\nContent-Type: multipart/related; boundary=r\r\n\r\n"
                              "--r\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
                              "<p>See <img src=\"cid:pic@x\"><img src=\"https://tracker.example/p.gif\">"
                              "<script>evil()</script></p>\r\n"
                              "--r\r\nContent-Type: image/png\r\nContent-Id: <pic@x>\r\nContent-Disposition: inline\r\n"
                              "Content-Transfer-Encoding: base64\r\n\r\niVBORw0KGgo=\r\n--r--\r\n"
                              "--m\r\nContent-Type: application/pdf\r\n"
                              "Content-Disposition: attachment; filename=\"Plan.pdf\"\r\n"
                              "Content-Transfer-Encoding: base64\r\n\r\nUERG\r\n--m--\r\n";

class ReplyJourney : public ComposeJourney {
protected:
    void SetUp() override {
        auto ada = localAccount("ada", "Ada Lovelace", "ada@example.org");
        ada.identities.push_back({"Ada Lovelace", "ada@second.example"});
        TemporaryHostOptions options;
        options.accounts = {localAccount("ben", "Ben Nevis", "ben@example.org"), ada,
                            localAccount("cy", "Cy", "cy@example.org")};
        start(std::move(options));
        const auto inbox = host->library().mailbox("ada", MailboxKind::Inbox, true);
        plans = host->library().add(*inbox, kRichMail, {}, {1'700'000'000}).value_or(nullptr);
        ASSERT_TRUE(plans);
        host->settle();
    }
    MessageFlags flagsOfPlans() { return host->library().summary(plans->libraryID())->flags; }
    MessageRef plans;
};

TEST_F(ReplyJourney, AnAnswerComesFromTheAddressThatWasWrittenTo) {
    const auto window = openMessage(ComposeMode::Reply, plans);
    EXPECT_EQ(window->accountIdentifier(), "ada");
    EXPECT_EQ(window->subject(), "Re: Plans");
    EXPECT_THAT(window->to(), ElementsAre("Cy <cy@example.org>"));
    EXPECT_THAT(window->bodyHtml(), HasSubstr("Cy wrote:"));
    EXPECT_THAT(window->bodyHtml(), Not(HasSubstr("tracker.example")));
    EXPECT_THAT(window->bodyHtml(), Not(HasSubstr("evil")));
    ASSERT_THAT(window->attachments(), SizeIs(1)) << "the picture of the quotation, not the file";
    EXPECT_TRUE(window->attachments().front().isInline);
    EXPECT_FALSE(window->controller()->backEnd()->originalMessage()) << "an answer edits no message";

    window->send();
    host->advance(60);
    ASSERT_THAT(host->inboxOf("cy"), SizeIs(1));
    const auto answer = host->inboxOf("cy").front();
    EXPECT_EQ(answer.from, "Ada Lovelace <ada@second.example>");
    EXPECT_EQ(headerOf(answer, "In-Reply-To"), "<plans@example.org>");
    EXPECT_EQ(headerOf(answer, "References"), "<plans@example.org>");
    const auto parts = MimeMessage::parse(contentOf(answer))->attachments();
    ASSERT_THAT(parts, SizeIs(1));
    EXPECT_TRUE(parts.front().isInline) << "the picture still stands in the text";
    EXPECT_TRUE(flagsOfPlans().answered);
}

TEST_F(ReplyJourney, AnAnswerThatWaitedAsADraftStillMarksItsOriginal) {
    const auto window = openMessage(ComposeMode::Reply, plans);
    type(*window, "Yes.");
    window->close(ComposeWindow::Closing::Save);
    host->restart();
    EXPECT_FALSE(flagsOfPlans().answered);
    openDraft()->send();
    host->advance(60);
    EXPECT_TRUE(flagsOfPlans().answered);
    EXPECT_EQ(headerOf(host->inboxOf("cy").front(), "In-Reply-To"), "<plans@example.org>");
}

TEST_F(ReplyJourney, AForwardedMessageTakesItsFilesAlong) {
    const auto window = openMessage(ComposeMode::Forward, plans);
    EXPECT_EQ(window->subject(), "Fwd: Plans");
    EXPECT_THAT(window->to(), IsEmpty());
    EXPECT_THAT(window->bodyHtml(), HasSubstr("Begin forwarded message:"));
    ASSERT_THAT(window->attachments(), SizeIs(2));
    window->update({.to = std::vector<std::string>{"ben@example.org"}});
    host->advance(3);
    EXPECT_THAT(contentOf(drafts().front()), HasSubstr("X-Draft-Forwards"));
    window->send();
    host->advance(60);
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    const auto forwarded = host->inboxOf("ben").front();
    EXPECT_THAT(contentOf(forwarded), Not(HasSubstr("X-Draft-Forwards")));
    const auto mime = MimeMessage::parse(contentOf(forwarded));
    ASSERT_THAT(mime->attachments(), SizeIs(2));
    for (const MimePart& part : mime->attachments())
        EXPECT_EQ(mime->partContent(part.part), part.isInline ? kPicture : "PDF");
    EXPECT_TRUE(flagsOfPlans().forwarded);
    EXPECT_FALSE(flagsOfPlans().answered);
}

TEST_F(ReplyJourney, ATakenOutPictureIsNotSent) {
    const auto window = openMessage(ComposeMode::Forward, plans);
    window->update({.to = std::vector<std::string>{"ben@example.org"}});
    for (const ComposeAttachment& attachment : window->attachments())
        window->removeAttachment(attachment.identifier);
    EXPECT_THAT(window->bodyHtml(), Not(HasSubstr("<img")));
    window->send();
    host->advance(60);
    EXPECT_THAT(MimeMessage::parse(contentOf(host->inboxOf("ben").front()))->attachments(), IsEmpty());
}

TEST_F(ReplyJourney, TheStatusRowStandsWhileThereAreAttachments) {
    const auto window = host->compose("ada", "", "", "");
    EXPECT_THAT(window->extraRows(), IsEmpty());
    const auto id = window->addAttachment("Plan.pdf", "PDF", false);
    ASSERT_THAT(window->extraRows(), SizeIs(1));
    EXPECT_EQ(window->extraRows().front().place, "status");
    window->removeAttachment(*id);
    EXPECT_THAT(window->extraRows(), IsEmpty());
}

}  // namespace
}  // namespace qs
