// The viewer over an account at Gmail, where one message stands in several mailboxes.
#include "MailEngine.h"
#include "MailSync.h"
#include "Support/GmailMail.h"
#include "Support/GmailServer.h"
#include "WindowJourney.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ViewerGmailTest : public WindowJourney {
protected:
    using Names = std::vector<std::string>;

    void SetUp() override {
        server_.create("Mills");
        first_ = deliver("first", {"INBOX", "Mills"});
        second_ = deliver("second", {"INBOX"});
        third_ = deliver("third", {"Mills"});
        const AccountRecord account{.identifier = "ada",
                                    .displayName = "Ada",
                                    .kind = AccountKind::Imap,
                                    .identities = {{"Ada Lovelace", "ada@example.org"}},
                                    .incoming = IncomingServer{.host = "127.0.0.1",
                                                               .port = server_.port(),
                                                               .security = TransportSecurity::None,
                                                               .user = "ada",
                                                               .passwordCommand = {"/bin/echo", "analytical"}}};
        start({.accounts = {account}, .start = Date{1'795'428'000}});
        sync();
        host->viewer().selectMailbox("");
    }
    void TearDown() override { EXPECT_THAT(server_.complaints(), IsEmpty()); }
    std::uint64_t deliver(const std::string& subject, const std::set<std::string>& labels) {
        return server_.deliver("From: Grace <grace@example.net>\r\nTo: ada@example.org\r\nMessage-Id: <" + subject +
                                   "@example.net>\r\nSubject: " + subject + "\r\n\r\nHello.\r\n",
                               labels);
    }
    void sync() {
        host->engine().sync().syncNow({});
        for (int i = 0; i < 4; ++i)
            host->advance(2);
    }
    Names rows() {
        Names all;
        for (const ViewerRow& row : host->viewer().rows())
            all.push_back(row.summary.subject + " in " + row.summary.mailbox);
        std::ranges::sort(all);
        return all;
    }
    Names selected() {
        Names all;
        for (const MessageRef& message : host->viewer().selectedMessages())
            all.push_back(message->subject() + " in " + message->mailbox()->identifier());
        return all;
    }
    void selectRow(const std::string& subject) {
        for (const ViewerRow& row : host->viewer().rows())
            if (row.summary.subject == subject) return select({row.id});
        FAIL() << "no row " << subject;
    }

    GmailServer server_;
    std::uint64_t first_ = 0, second_ = 0, third_ = 0;
};

TEST_F(ViewerGmailTest, TheSelectionStaysWithTheMessageWhicheverCopyStandsForIt) {
    EXPECT_EQ(rows(), (Names{"first in ada/INBOX", "second in ada/INBOX", "third in ada/Mills"}));
    selectRow("first");
    ASSERT_TRUE(choose("Message", "Archive"));
    EXPECT_EQ(rows(), (Names{"first in ada/Mills", "second in ada/INBOX", "third in ada/Mills"}));
    EXPECT_EQ(selected(), Names{"first in ada/Mills"});
    sync();
    EXPECT_THAT(server_.mailboxesOf(first_), ElementsAre("Mills", GmailMail::kAll));
    host->viewer().undoMove();
    host->settle();
    EXPECT_EQ(selected(), Names{"first in ada/INBOX"});
    sync();
    EXPECT_THAT(server_.mailboxesOf(first_), ElementsAre("INBOX", "Mills", GmailMail::kAll));
    // Another client is at work.
    server_.label(first_, {}, {"INBOX", "Mills"});
    sync();
    EXPECT_EQ(selected(), Names{"first in ada/Archive"});
    server_.erase(first_);
    sync();
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(ViewerGmailTest, WhatIsArchivedLeavesTheInboxWhereverItIsSeen) {
    for (const std::string mailbox : {"ada/Mills", "ada/Archive", ""}) {
        host->viewer().selectMailbox(mailbox);
        selectRow("first");
        ASSERT_TRUE(choose("Message", "Archive")) << mailbox;
        sync();
        EXPECT_THAT(server_.mailboxesOf(first_), ElementsAre("Mills", GmailMail::kAll)) << mailbox;
        host->viewer().undoMove();
        sync();
        EXPECT_THAT(server_.mailboxesOf(first_), ElementsAre("INBOX", "Mills", GmailMail::kAll)) << mailbox;
    }
}

TEST_F(ViewerGmailTest, ALargeSelectionInTheArchiveCanBeTakenOutOfTheInbox) {
    for (int i = 0; i < 55; ++i)
        deliver("m" + std::to_string(i), {});
    sync();
    host->viewer().selectMailbox("ada/Archive");
    std::vector<std::int64_t> all;
    for (const ViewerRow& row : host->viewer().rows())
        all.push_back(row.id);
    ASSERT_GT(all.size(), 55u);
    select(all);
    ASSERT_TRUE(choose("Message", "Archive"));
    host->viewer().selectMailbox("ada/INBOX");
    EXPECT_THAT(rows(), IsEmpty());
}

TEST_F(ViewerGmailTest, WhatIsDeletedIsGoneFromAllItsMailboxesAtOnceAndComesBack) {
    host->viewer().selectMailbox("ada/Mills");
    selectRow("first");
    ASSERT_TRUE(choose("Message", "Move to Trash"));
    EXPECT_EQ(rows(), Names{"third in ada/Mills"});
    EXPECT_EQ(selected(), Names{"third in ada/Mills"}) << "the next one";
    host->viewer().selectMailbox("ada/INBOX");
    EXPECT_EQ(rows(), Names{"second in ada/INBOX"});
    EXPECT_EQ(host->viewer().mailbox()->unreadCount(), 1);
    host->viewer().undoMove();
    host->settle();
    EXPECT_EQ(rows(), (Names{"first in ada/INBOX", "second in ada/INBOX"}));
    sync();
    EXPECT_THAT(server_.mailboxesOf(first_), ElementsAre("INBOX", "Mills", GmailMail::kAll));
}

TEST_F(ViewerGmailTest, ADeletedLabelLeavesItsMessagesWhereTheyAre) {
    host->viewer().selectMailbox("ada/Mills");
    alerts->give("Delete");
    ASSERT_TRUE(choose("Mailbox", "Delete Mailbox…"));
    ASSERT_THAT(alerts->texts, ElementsAre("2 messages stay in the archive."));
    sync();
    host->viewer().selectMailbox("");
    EXPECT_EQ(rows(), (Names{"first in ada/INBOX", "second in ada/INBOX", "third in ada/Archive"}));
    EXPECT_THAT(server_.mailboxesOf(third_), ElementsAre(GmailMail::kAll));
}

}  // namespace qs
