// Conversations within one mailbox, however their messages come and go.
#include <algorithm>
#include <random>

#include "LibraryTest.h"

namespace qs {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class LibraryConversations : public LibraryTest {
protected:
    std::int64_t put(const char* mailbox, const std::string& id, const std::string& answers, double received,
                     MessageFlags flags = {}) {
        return add(mailbox, id, received, flags,
                   "Message-Id: <" + id + "@x>\r\n" +
                       (answers.empty() ? std::string() : "References: <" + answers + "@x>\r\n"));
    }
    // The newest of each conversation with how many there are, as "3 (2)".
    std::vector<std::string> grouped(const char* mailbox) {
        std::vector<std::string> found;
        const auto page = library_->page(MailboxConversations::grouped(mailbox), "", 0, 100);
        std::vector<std::int64_t> numbers;
        for (const MessageSummary& row : page.rows)
            numbers.push_back(row.conversation);
        const auto facts = library_->conversationFacts(mailbox, numbers);
        for (std::size_t i = 0; i < page.rows.size(); ++i)
            found.push_back(page.rows[i].subject + " (" + std::to_string(facts[i].count) + ")");
        EXPECT_EQ(page.total, static_cast<int>(found.size())) << "the length is kept";
        return found;
    }
};

}  // namespace

TEST_F(LibraryConversations, EachIsListedByItsNewestMessage) {
    open();
    put("ada/INBOX", "1", "", 100);
    put("ada/INBOX", "2", "", 200);
    put("ada/INBOX", "3", "1", 300);
    put("ada/Sent", "4", "1", 400);
    put("ada/INBOX", "late", "1", 50);
    EXPECT_THAT(grouped("ada/INBOX"), ElementsAre("3 (3)", "2 (1)"));
    EXPECT_THAT(grouped("ada/Sent"), ElementsAre("4 (1)")) << "each mailbox by itself";
    EXPECT_THAT(grouped("ada/None"), IsEmpty());
}

TEST_F(LibraryConversations, FollowMessagesThatGoAndMove) {
    open();
    const auto first = put("ada/INBOX", "1", "", 100), second = put("ada/INBOX", "2", "1", 200),
               third = put("ada/INBOX", "3", "1", 300);
    ASSERT_TRUE(library_->erase({third}));
    EXPECT_THAT(grouped("ada/INBOX"), ElementsAre("2 (2)"));
    ASSERT_TRUE(library_->move({second}, box("ada/Archive")));
    EXPECT_THAT(grouped("ada/INBOX"), ElementsAre("1 (1)"));
    EXPECT_THAT(grouped("ada/Archive"), ElementsAre("2 (1)"));
    ASSERT_TRUE(library_->move({first}, box("ada/Archive")));
    EXPECT_THAT(grouped("ada/INBOX"), IsEmpty());
    EXPECT_THAT(grouped("ada/Archive"), ElementsAre("2 (2)"));
    open();
    EXPECT_THAT(grouped("ada/Archive"), ElementsAre("2 (2)")) << "after a restart";
}

TEST_F(LibraryConversations, BecomeOneWhenAMessageJoinsThem) {
    open();
    put("ada/INBOX", "1", "", 100);
    put("ada/INBOX", "2", "", 200);
    const auto former = library_->page(MailboxConversations::grouped("ada/INBOX"), "", 0, 2).rows;
    ASSERT_THAT(former, SizeIs(2));
    put("ada/Sent", "3", "1@x> <2", 300);
    EXPECT_THAT(grouped("ada/INBOX"), ElementsAre("2 (2)"));
    for (const MessageSummary& each : former)
        EXPECT_THAT(library_->conversationIn("ada/INBOX", each.conversation, 9), SizeIs(2)) << "by either number";
}

TEST_F(LibraryConversations, TellWhatIsSoOfAnyOfTheirMessages) {
    open();
    put("ada/INBOX", "1", "", 100, {.seen = true, .flagged = true, .colour = 3});
    ASSERT_TRUE(library_->add(
        box("ada/INBOX"), "From: Ben <ben@x>\r\nTo: Ada <ada@example.org>\r\nSubject: 2\r\nReferences: <1@x>\r\n\r\n",
        {}, {200}));
    put("ada/INBOX", "3", "1", 300, {.seen = true});
    const auto row = library_->page(MailboxConversations::grouped("ada/INBOX"), "", 0, 1).rows.at(0);
    const auto facts = library_->conversationFacts("ada/INBOX", {row.conversation}).at(0);
    EXPECT_EQ(facts.count, 3);
    EXPECT_EQ(facts.unread, 1);
    EXPECT_TRUE(facts.isFlagged);
    EXPECT_EQ(facts.colour, 3);
    EXPECT_THAT(facts.senders, ElementsAre("Ben <ben@x>", "Grace Hopper <grace@example.net>"))
        << "each once, where it spoke last";
    EXPECT_THAT(library_->idsInConversations("ada/INBOX", {row.conversation}), SizeIs(3));
    EXPECT_THAT(library_->idsInConversations("ada/Sent", {row.conversation}), IsEmpty());
}

// Whatever happens in whatever order, exactly the newest of each conversation is listed.
TEST_F(LibraryConversations, AreKeptRightThroughAnyChanges) {
    open();
    std::mt19937 random(7);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    const std::vector<const char*> mailboxes{"ada/INBOX", "ada/Archive"};
    std::vector<std::string> names{"0"};
    for (int step = 0; step < 150; ++step) {
        const auto all = library_->ids({}, "", 1000);
        const int what = below(4);
        if (what < 2 || all.empty()) {
            const std::string name = std::to_string(step),
                              other = names[static_cast<std::size_t>(below(static_cast<int>(names.size())))];
            const std::string second = names[static_cast<std::size_t>(below(static_cast<int>(names.size())))];
            put(mailboxes[static_cast<std::size_t>(below(2))], name, below(3) == 0 ? "" : other + "@x> <" + second,
                100 + below(40));
            names.push_back(name);
        } else {
            const std::int64_t id = all[static_cast<std::size_t>(below(static_cast<int>(all.size())))];
            if (what == 2)
                ASSERT_TRUE(library_->erase({id}));
            else
                ASSERT_TRUE(library_->move({id}, box(mailboxes[static_cast<std::size_t>(below(2))])));
        }
    }
    for (const char* mailbox : mailboxes) {
        std::map<std::int64_t, std::int64_t> newest;  // key, by conversation
        for (const MessageSummary& each : library_->page(box(mailbox).criterion(), "", 0, 1000).rows)
            newest[each.conversation] = std::max(newest[each.conversation], each.key);
        std::vector<std::int64_t> wanted, listed;
        for (const auto& [conversation, key] : newest)
            wanted.push_back(key);
        const auto page = library_->page(MailboxConversations::grouped(mailbox), "", 0, 1000);
        for (const MessageSummary& each : page.rows)
            listed.push_back(each.key);
        EXPECT_THAT(wanted, SizeIs(testing::Gt(3U)));
        EXPECT_THAT(listed, testing::UnorderedElementsAreArray(wanted)) << mailbox;
        EXPECT_EQ(page.total, static_cast<int>(wanted.size())) << mailbox;
        EXPECT_EQ(library_->conversationsBetween(mailbox, 0, listed.at(2)), 2);
        EXPECT_EQ(library_->conversationsBetween(mailbox, listed.at(0), listed.at(3)), 2);
    }
}

}  // namespace qs
