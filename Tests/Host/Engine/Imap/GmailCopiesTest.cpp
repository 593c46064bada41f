// A message that several mailboxes show is one in every list but theirs.
#include "Imap/GmailFixture.h"
#include "Mail/Library.h"
#include "MailReading.h"
#include "MessageCopies.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class GmailCopiesTest : public GmailTest {
protected:
    using Kind = MessageCriterion::Kind;
    using Names = std::vector<std::string>;

    void SetUp() override {
        GmailTest::SetUp();
        server_->create("Mills");
        server_->create("Looms");
    }
    std::string place(std::int64_t id) {
        const auto row = library().summary(id);
        return row ? row->subject + " in " + row->mailbox : "nothing";
    }
    // "subject in mailbox" of every row, and the same by the other ways in which a list is asked for.
    Names listed(const MessageCriterion& criterion, const std::string& search = {}) {
        const ListPage page = library().page(criterion, search, 0, 100);
        EXPECT_EQ(page.total, static_cast<int>(page.rows.size())) << search;
        Names rows, byID;
        for (const MessageSummary& row : page.rows)
            rows.push_back(row.subject + " in " + row.mailbox);
        for (const std::int64_t id : library().ids(criterion, search, 100))
            byID.push_back(place(id));
        EXPECT_EQ(byID, rows) << search;
        std::sort(rows.begin(), rows.end());
        return rows;
    }
    Names searched(const std::string& words) { return listed({}, words); }
    static MessageCriterion with(Kind kind, const std::string& text) { return MessageCriterion::with(kind, text); }
    Names conversation(const std::string& folder, const std::string& subject) {
        Names rows;
        for (const MessageSummary& row : library().conversation(id(folder, subject), 100))
            rows.push_back(row.subject + " in " + row.mailbox);
        return rows;
    }
    std::int64_t deliverReply(const std::string& subject, const std::string& to, const std::set<std::string>& labels) {
        std::string text = mail(subject);
        text.insert(text.find("Subject:"), "In-Reply-To: <" + to + "@example.net>\r\n");
        return static_cast<std::int64_t>(server_->deliver(text, labels));
    }
};

TEST_F(GmailCopiesTest, OneRowStandsForAMessageInAllListsButThoseOfItsMailboxes) {
    deliver("paper", {"INBOX", "Mills"});
    deliver("cloth", {"Mills", "Looms"}, {"\\Flagged"});
    deliver("ink", {});
    // Written twice, and two messages though one Message-Id is on both.
    server_->deliver(mail("twin"), {"INBOX"});
    server_->deliver(mail("twin", "Once more.\r\n"), {"Mills"});
    start();
    const Names all{"cloth in ada/Looms", "ink in ada/Archive", "paper in ada/INBOX", "twin in ada/INBOX",
                    "twin in ada/Mills"};
    const auto check = [&](const std::string& when) {
        SCOPED_TRACE(when);
        EXPECT_EQ(listed({}), all);
        EXPECT_EQ(listed(with(Kind::InAccount, "ada")), all);
        EXPECT_EQ(searched("hello"),
                  (Names{"cloth in ada/Looms", "ink in ada/Archive", "paper in ada/INBOX", "twin in ada/INBOX"}));
        EXPECT_EQ(searched("is:flagged"), Names{"cloth in ada/Looms"});
        EXPECT_EQ(searched("in:mills"), (Names{"cloth in ada/Mills", "paper in ada/Mills", "twin in ada/Mills"}));
        EXPECT_EQ(searched("in:mills in:looms"),
                  (Names{"cloth in ada/Looms", "paper in ada/Mills", "twin in ada/Mills"}));
        EXPECT_EQ(
            listed(MessageCriterion::allOf({with(Kind::InMailbox, "ada/Mills"), with(Kind::InMailbox, "ada/Looms")})),
            Names{"cloth in ada/Mills"});
        EXPECT_EQ(searched("-in:mills"), (Names{"ink in ada/Archive", "twin in ada/INBOX"}));
        EXPECT_EQ(
            listed(MessageCriterion::anyOf({with(Kind::InMailbox, "ada/Archive"), with(Kind::InMailbox, "ada/Mills")})),
            (Names{"cloth in ada/Mills", "ink in ada/Archive", "paper in ada/Mills", "twin in ada/Archive",
                   "twin in ada/Mills"}));
        EXPECT_THAT(here("Archive"), ElementsAre("cloth F", "ink", "paper", "twin", "twin"));
        EXPECT_THAT(here("Mills"), ElementsAre("cloth F", "paper", "twin"));
        EXPECT_EQ(box("Archive").unreadCount(), 5);
        EXPECT_EQ(box("Mills").unreadCount(), 3);
        EXPECT_EQ(placesHere("paper"), (Names{"ada/Archive", "ada/INBOX", "ada/Mills"}));
    };
    check("fetched");
    // The index is made anew from the files, with no server in reach.
    engine_.reset();
    proxy_->goDown();
    std::filesystem::remove(folder_ / "Library.sqlite");
    open();
    MailReading::of(library()).waitUntilReadIn();
    check("read in");
}

TEST_F(GmailCopiesTest, TheRowFollowsTheLabelsAndWhoeverHoldsOneFindsTheOther) {
    const auto paper = deliver("paper", {"INBOX", "Mills"});
    start();
    const auto first = id("INBOX", "paper");
    server_->label(paper, {}, {"INBOX"});
    syncAll();
    EXPECT_EQ(searched("paper"), Names{"paper in ada/Mills"});
    EXPECT_EQ(MessageCopies::of(library()).shownRow(first), id("Mills", "paper"));
    move("paper", "Mills", "Archive");
    EXPECT_EQ(searched("paper"), Names{"paper in ada/Archive"});
    EXPECT_EQ(MessageCopies::of(library()).shownRow(first), id("Archive", "paper"));
    const auto archived = id("Archive", "paper");
    move("paper", "Archive", "INBOX");
    EXPECT_EQ(searched("paper"), Names{"paper in ada/INBOX"});
    EXPECT_EQ(MessageCopies::of(library()).shownRow(archived), id("INBOX", "paper"));
    EXPECT_EQ(MessageCopies::of(library()).rowIn(box("Archive"), id("INBOX", "paper")), archived);
    EXPECT_EQ(MessageCopies::of(library()).rowIn(box("Mills"), archived), 0);
    settle();
    server_->erase(paper);
    syncAll();
    EXPECT_EQ(MessageCopies::of(library()).shownRow(first), 0);
}

TEST_F(GmailCopiesTest, WhatIsThrownAwayIsInTheTrashAloneAtOnceAndBackAsItWas) {
    const auto paper = deliver("paper", {"INBOX", "Mills"});
    deliverReply("answer", "paper", {"Mills"});
    start();
    for (const std::string from : {"INBOX", "Mills", "Archive"}) {
        SCOPED_TRACE(from);
        proxy_->goDown();
        for (const char* to : {"Trash", "Junk"}) {
            move("paper", from, to);
            loop_->advance(0.1);  // until everybody has been told
            EXPECT_EQ(searched("paper"), Names{std::string("paper in ada/") + to});
            EXPECT_THAT(here("INBOX"), IsEmpty());
            EXPECT_THAT(here("Mills"), ElementsAre("answer"));
            EXPECT_THAT(here("Archive"), ElementsAre("answer"));
            EXPECT_EQ(box("INBOX").unreadCount() + box("Mills").unreadCount(), 1);
            const auto facts =
                library().conversationFacts("ada/Archive", {library().leads("ada/Archive", 9)[0].conversation});
            EXPECT_EQ(facts[0].count, 1);
            EXPECT_THAT(library().messagesWithMessageIDHeader("paper@example.net"), ::testing::SizeIs(1));
            move("paper", to, from);
            EXPECT_EQ(searched("paper"), Names{"paper in ada/INBOX"});
            EXPECT_THAT(here("Mills"), ElementsAre("answer", "paper"));
            EXPECT_THAT(here("Archive"), ElementsAre("answer", "paper"));
            EXPECT_EQ(box("INBOX").unreadCount() + box("Mills").unreadCount(), 3);
            loop_->advance(0.1);
        }
        proxy_->letPass();
        loop_->advance(60);
        syncAll();
        EXPECT_EQ(placesHere("paper"), (Names{"ada/Archive", "ada/INBOX", "ada/Mills"}));
    }
    move("paper", "Mills", "Trash");
    settle();
    syncAll();
    EXPECT_EQ(server_->mailboxesOf(paper), Names{GmailMail::kTrash});
    EXPECT_EQ(placesHere("paper"), Names{"ada/Trash"});
    EXPECT_EQ(listed({}), (Names{"answer in ada/Mills", "paper in ada/Trash"}));
}

TEST_F(GmailCopiesTest, AConversationHasEachMessageOnce) {
    deliver("paper", {"INBOX", "Mills"});
    deliverReply("answer", "paper", {GmailMail::kSent});
    deliverReply("thanks", "answer", {"INBOX"});
    start();
    const std::string sent = "answer in ada/Sent";
    EXPECT_THAT(conversation("INBOX", "thanks"),
                UnorderedElementsAre("paper in ada/INBOX", sent, "thanks in ada/INBOX"));
    EXPECT_THAT(conversation("Mills", "paper"),
                UnorderedElementsAre("paper in ada/Mills", sent, "thanks in ada/INBOX"));
    EXPECT_THAT(conversation("Archive", "paper"),
                UnorderedElementsAre("paper in ada/Archive", "answer in ada/Archive", "thanks in ada/Archive"));
    for (const auto& [mailbox, count] : std::map<std::string, int>{{"ada/INBOX", 2}, {"ada/Archive", 3}}) {
        const auto leads = library().leads(mailbox, 9);
        ASSERT_EQ(leads.size(), 1U);
        EXPECT_EQ(library().conversationFacts(mailbox, {leads[0].conversation})[0].count, count) << mailbox;
    }
}

TEST_F(GmailCopiesTest, WhatIsPutThereFromHereIsOneWithTheServersCopies) {
    start();
    add("Mills", "ours");
    EXPECT_EQ(searched("ours"), Names{"ours in ada/Mills"});
    settle();
    syncAll();
    EXPECT_EQ(placesHere("ours"), (Names{"ada/Archive", "ada/Mills"}));
    EXPECT_EQ(searched("ours"), Names{"ours in ada/Mills"});
    flag("Archive", "ours", {.flagged = true});
    EXPECT_THAT(here("Mills"), ElementsAre("ours F"));
}

TEST_F(GmailCopiesTest, ALongListIsOfMessagesBeforeTheirTextsAreHere) {
    constexpr int kMany = 60;
    for (int i = 0; i < kMany; ++i)
        deliver("m" + std::to_string(i), {"INBOX", "Mills"});
    server_->refuse("BODY.PEEK[]");  // only their headers come
    start();
    EXPECT_EQ(library().page({}, {}, 0, 10).total, kMany);
    EXPECT_EQ(box("Archive").messageCount(), kMany);
    EXPECT_FALSE(library().page({}, {}, 0, 1).rows[0].isFetched);
    EXPECT_EQ(library().page({}, {}, 0, 1).rows[0].mailbox, "ada/INBOX");
    server_->refuse({});
}

}  // namespace qs
