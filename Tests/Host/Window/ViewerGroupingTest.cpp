// The list grouped by conversation.
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "MailEngine.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ViewerGrouping : public WindowJourney {
protected:
    // "a1" and "a2" belong together, as do all with one letter; an hour apart.
    std::int64_t put(const std::string& name, bool isSeen = true, MailboxKind kind = MailboxKind::Inbox) {
        host->advance(3600);
        const auto added = host->library().add(
            *host->library().mailbox("ada", kind, true),
            "From: " + std::string(name[1] == '1' ? "Ben <ben@x.org>" : "Eve <eve@x.org>") + "\nSubject: " + name +
                "\nMessage-Id: <" + name + ">\nReferences: <" + name.substr(0, 1) + "0>\n\n" + name,
            {.seen = isSeen}, RunLoop::main().now());
        host->settle();
        return (*added)->libraryID();
    }
    void group() { ASSERT_TRUE(choose("View", "Group by Conversation")); }
    // Rows as "a2 (2)", open ones with a "+", those below them with a "-".
    std::vector<std::string> rows() {
        std::vector<std::string> found;
        for (const ViewerRow& row : host->viewer().rows())
            found.push_back((row.parent != 0 ? "-"
                             : row.isOpen    ? "+"
                                             : "") +
                            row.summary.subject + (row.count > 1 ? " (" + std::to_string(row.count) + ")" : ""));
        return found;
    }
    std::int64_t rowOf(const std::string& subject) {
        for (const ViewerRow& row : host->viewer().rows())
            if (row.summary.subject == subject && row.parent == 0) return row.id;
        ADD_FAILURE() << "no row " << subject;
        return 0;
    }
    std::string read() {
        const auto message = host->viewer().selectedMessage();
        return message ? message->subject() : "";
    }
    bool isUnread(std::int64_t id) { return !host->library().summary(id)->flags.seen; }
};

TEST_F(ViewerGrouping, ARowStandsForAConversation) {
    start();
    put("a1"), put("b1"), put("c1"), put("a2", false), put("d1");
    EXPECT_EQ(host->viewer().conversations(), std::nullopt);
    group();
    EXPECT_THAT(rows(), ElementsAre("d1", "a2 (2)", "c1", "b1"));
    EXPECT_EQ(host->viewer().conversations(), 4);
    const ViewerRow row = host->viewer().rows().at(1);
    EXPECT_EQ(row.correspondent, "Ben, Eve");
    EXPECT_FALSE(row.summary.flags.seen);
    put("b2");
    EXPECT_THAT(rows(), ElementsAre("b2 (2)", "d1", "a2 (2)", "c1"));
    host->viewer().setWindowOfRows(2, 1);
    EXPECT_THAT(rows(), ElementsAre("a2 (2)"));
    host->restart();
    EXPECT_THAT(rows(), SizeIs(4)) << "it is remembered";
    host->viewer().search("a1");
    EXPECT_THAT(rows(), ElementsAre("a1")) << "what is searched for stands by itself";
    host->viewer().search("");
    group();
    EXPECT_THAT(rows(), ElementsAre("b2", "d1", "a2", "c1", "b1", "a1"));
}

TEST_F(ViewerGrouping, AReplyIsToOneMessageOfAConversation) {
    start();
    const auto oldest = put("a1", false);
    put("a2", false), put("b1");
    const auto newest = put("a3", false);
    put("b2");
    group();
    const auto targets = [&] {
        std::vector<std::string> subjects;
        for (const MessageRef& message : host->viewer().messagesTargetedByAction("replyMessage:"))
            subjects.push_back(message->subject());
        return subjects;
    };
    const auto a = rowOf("a3"), b = rowOf("b2");
    host->viewer().selectIDs({a});
    EXPECT_EQ(read(), "a1") << "the first that is unread";
    EXPECT_THAT(targets(), ElementsAre("a1"));
    EXPECT_THAT(host->viewer().messagesTargetedByAction("deleteMessages:"), SizeIs(3));
    host->viewer().selectIDs({b, a});
    EXPECT_THAT(targets(), ElementsAre("b2", "a3")) << "the newest of each";
    host->viewer().setOpen(a, true);
    host->viewer().selectIDs({a, newest, oldest});
    EXPECT_THAT(targets(), ElementsAre("a3", "a1")) << "each message once";
}

TEST_F(ViewerGrouping, OpensAndCloses) {
    start();
    put("a1"), put("b1"), put("c1"), put("b2"), put("a2"), put("d1"), put("a3");
    group();
    EXPECT_THAT(rows(), ElementsAre("a3 (3)", "d1", "b2 (2)", "c1"));
    const auto a = rowOf("a3"), b = rowOf("b2");
    host->viewer().setOpen(b, true);
    host->viewer().setOpen(a, true);
    const std::vector<std::string> all{"+a3 (3)", "-a3", "-a2", "-a1", "d1", "+b2 (2)", "-b2", "-b1", "c1"};
    EXPECT_EQ(rows(), all);
    EXPECT_EQ(host->viewer().total(), 9);
    for (int offset = 0; offset < 9; ++offset)
        for (int limit = 1; offset + limit <= 9; ++limit) {
            host->viewer().setWindowOfRows(offset, limit);
            EXPECT_EQ(rows(), std::vector<std::string>(all.begin() + offset, all.begin() + offset + limit))
                << offset << ", " << limit;
        }
    host->viewer().setWindowOfRows(0, 100);
    put("e1");
    EXPECT_THAT(rows(), ElementsAre("e1", "+a3 (3)", "-a3", "-a2", "-a1", "d1", "+b2 (2)", "-b2", "-b1", "c1"));
    host->viewer().open(a);
    EXPECT_THAT(rows(), ElementsAre("e1", "a3 (3)", "d1", "+b2 (2)", "-b2", "-b1", "c1")) << "a double click";
    put("a4");
    EXPECT_THAT(rows(), ElementsAre("a4 (4)", "e1", "d1", "+b2 (2)", "-b2", "-b1", "c1"));
    EXPECT_EQ(rowOf("a4"), a) << "it is the same row";
}

TEST_F(ViewerGrouping, ASelectedRowMeansAllItsMessages) {
    start();
    const auto a1 = put("a1", false), a2 = put("a2", false);
    put("b1");
    group();
    const auto a = rowOf("a2");
    select({a});
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a));
    EXPECT_THAT(host->viewer().selectedMessages(), SizeIs(2));
    EXPECT_EQ(read(), "a1") << "the first that is unread";
    EXPECT_FALSE(isUnread(a1));
    EXPECT_TRUE(isUnread(a2));
    ASSERT_TRUE(choose("View", "Next in Conversation"));
    EXPECT_EQ(read(), "a2");
    EXPECT_FALSE(isUnread(a2));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a)) << "the row stays";
    put("c1");
    EXPECT_EQ(read(), "a2") << "and so does what is read";
    ASSERT_TRUE(choose("Message", "Mark as Unread"));
    EXPECT_TRUE(isUnread(a1) && isUnread(a2));
    ASSERT_TRUE(host->viewer().setFlags({a}, {.flagged = true}));
    EXPECT_TRUE(host->library().summary(a1)->flags.flagged);
    ASSERT_TRUE(choose("Message", "Archive"));
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Archive), ElementsAre("a2", "a1"));
    EXPECT_EQ(read(), "b1") << "the row that took its place";
    host->viewer().undoMove();
    host->settle();
    EXPECT_THAT(rows(), ElementsAre("c1", "b1", "a2 (2)"));
}

TEST_F(ViewerGrouping, AMessageBelowAnOpenRowMeansItself) {
    start();
    const auto a1 = put("a1"), a2 = put("a2"), a3 = put("a3");
    group();
    const auto a = rowOf("a3");
    host->viewer().setOpen(a, true);
    select({a2});
    ASSERT_TRUE(choose("Message", "Move to Trash"));
    EXPECT_THAT(rows(), ElementsAre("+a3 (2)", "-a3", "-a1"));
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Trash), ElementsAre("a2"));
    select({a1});
    host->viewer().setOpen(a, false);
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a))
        << "a row that goes leaves its selection to the conversation";
    ASSERT_TRUE(host->library().erase({a1}));
    host->settle();
    EXPECT_THAT(rows(), ElementsAre("a3"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a3)) << "what is left of it stays selected";
}

TEST_F(ViewerGrouping, TheSelectionNeverGrowsByItself) {
    start();
    const auto a1 = put("a1");
    group();
    select({a1});
    put("a2");
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a1));
    EXPECT_THAT(rows(), ElementsAre("+a2 (2)", "-a2", "-a1")) << "and it can be seen";
    host->viewer().setOpen(rowOf("a2"), false);
    host->viewer().open(a1);
    EXPECT_THAT(rows(), SizeIs(3)) << "likewise when something leads to a message";
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(a1));
}

TEST_F(ViewerGrouping, GoesFromRowToRowAndTakesAll) {
    start();
    put("a1", false), put("b1"), put("a2"), put("c1");
    group();
    select({rowOf("c1")});
    ASSERT_TRUE(choose("View", "Next Unread Message"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(rowOf("a2")));
    ASSERT_TRUE(choose("View", "Next Message"));
    EXPECT_EQ(read(), "b1");
    ASSERT_TRUE(choose("Edit", "Select All Messages"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(rowOf("c1"), rowOf("a2"), rowOf("b1")));
    EXPECT_THAT(host->viewer().selectedMessages(), SizeIs(4));
}

TEST_F(ViewerGrouping, DraftsAndTrashStayAsTheyAre) {
    start();
    put("a1", true, MailboxKind::Trash), put("a2", true, MailboxKind::Trash);
    group();
    host->viewer().selectMailbox(host->library().mailbox("ada", MailboxKind::Trash, true)->identifier());
    EXPECT_THAT(rows(), ElementsAre("a2", "a1"));
}

}  // namespace
}  // namespace qs
