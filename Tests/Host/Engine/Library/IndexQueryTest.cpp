// How the database goes about the statements: a list must neither sort nor look at messages that it does not show.
#include "Library/IndexQuery.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Library/Index.h"
#include "Support/TemporaryFolder.h"

namespace qs {

namespace {

using Kind = MessageCriterion::Kind;
using ::testing::HasSubstr;
using ::testing::Not;

class IndexQueryPlans : public ::testing::Test {
protected:
    std::string planOf(const MessageCriterion& criterion, const std::string& more = {}) {
        const SqlSelection selection = selectionFor(criterion);
        const auto reading = index_.read();
        Query row = reading->query("EXPLAIN QUERY PLAN SELECT m.subject FROM " + selection.tables + " WHERE " +
                                       selection.condition + more + selection.newestFirst() + " LIMIT 50",
                                   selection.values);
        std::string plan;
        while (row.step())
            plan += row.text(3) + "\n";
        return plan;
    }

    TemporaryFolder folder_;
    std::vector<std::string> notices_;
    Index index_{folder_ / "Library.sqlite", FileSystem::real(), notices_};
};

MessageCriterion inbox() { return MessageCriterion::with(Kind::InMailbox, "ada/INBOX"); }
MessageCriterion all(std::vector<MessageCriterion> parts) { return MessageCriterion::allOf(std::move(parts)); }

}  // namespace

TEST_F(IndexQueryPlans, ListsAreReadInTheirOrderByAnIndex) {
    const auto since = MessageCriterion::with(Kind::ReceivedSince, Date{1'795'000'000});
    const auto before = MessageCriterion::with(Kind::ReceivedBefore, Date{1'796'000'000});
    const auto words = MessageCriterion::with(Kind::HasWords, "budget*");
    const auto unread = MessageCriterion::with(Kind::IsUnread), flagged = MessageCriterion::with(Kind::IsFlagged);
    const auto attached = MessageCriterion::with(Kind::HasAttachments);
    struct Case {
        const char* why;
        MessageCriterion criterion;
        const char* plan;
    };
    for (const Case& c : std::vector<Case>{
             {"a mailbox", inbox(), "SEARCH m USING INDEX by_mailbox (mailbox=?)"},
             {"a mailbox's last days", all({inbox(), since}), "SEARCH m USING INDEX by_mailbox (mailbox=? AND seq>?)"},
             {"a span of days", all({inbox(), since, before}), "by_mailbox (mailbox=? AND seq>? AND seq<?)"},
             {"days of all mailboxes", since, "SEARCH m USING INTEGER PRIMARY KEY (rowid>?)"},
             {"everything", {}, "SCAN m\n"},
             {"unread", all({inbox(), unread}), "m USING INDEX unread"},
             {"unread of the last days", all({inbox(), unread, since}), "SEARCH m USING INDEX unread (seq>?)"},
             {"flagged", flagged, "m USING INDEX flagged"},
             {"flagged and unread", all({unread, flagged}), "m USING INDEX flagged"},
             {"files", attached, "m USING INDEX attached"},
             {"files of a mailbox", all({inbox(), attached}), "SEARCH m USING INDEX by_mailbox (mailbox=?)"},
             {"an account", MessageCriterion::with(Kind::InAccount, "ada"), "USING INDEX by_account (account=?)"},
             {"an account's last days", all({MessageCriterion::with(Kind::InAccount, "ada"), since}),
              "USING INDEX by_account (account=? AND seq>?)"},
             {"conversations", all({inbox(), MessageCriterion::with(Kind::LeadsConversation)}),
              "SEARCH leading USING PRIMARY KEY (mailbox=?)"},
             {"texts within words", MessageCriterion::with(Kind::SubjectContains, "udge"), "SCAN fragments VIRTUAL"},
             {"either of two texts in a mailbox",
              all({inbox(), MessageCriterion::anyOf({MessageCriterion::with(Kind::FromContains, "ada"),
                                                     MessageCriterion::with(Kind::ToContains, "ada")})}),
              "SCAN fragments VIRTUAL"},
             {"words", words, "SCAN words VIRTUAL TABLE"},
             {"words in a mailbox's last days", all({inbox(), since, words}),
              "SEARCH m USING INTEGER PRIMARY KEY (rowid=?)"},
         }) {
        const std::string plan = planOf(c.criterion);
        EXPECT_THAT(plan, HasSubstr(c.plan)) << c.why;
        EXPECT_THAT(plan, Not(HasSubstr("TEMP B-TREE"))) << c.why;
    }
    const auto id = MessageCriterion::with(Kind::MessageIDIs, "1@x");
    EXPECT_THAT(planOf(id), HasSubstr("USING INDEX by_message_id (message_id=?)"));
    EXPECT_THAT(planOf(MessageCriterion::anyOf({id, id, id})), HasSubstr("USING INDEX by_message_id (message_id=?)"));
    EXPECT_THAT(planOf(all({inbox(), MessageCriterion::with(Kind::UniqueIDIs, "1")})), HasSubstr("(unique_id=?)"));
}

TEST_F(IndexQueryPlans, APageBeginsAtItsRowsNumber) {
    EXPECT_THAT(planOf(inbox(), " AND m.seq <= 7"), HasSubstr("by_mailbox (mailbox=? AND seq<?)"));
    EXPECT_THAT(planOf(MessageCriterion::with(Kind::IsUnread), " AND m.seq <= 7"), HasSubstr("unread (seq<?)"));
}

TEST_F(IndexQueryPlans, WordsOfOneSearchAreOneQuestionToTheIndexOfWords) {
    const auto word = [](const char* text) { return MessageCriterion::with(Kind::HasWords, text); };
    const MessageCriterion no{Kind::Not, {}, {}, {MessageCriterion::with(Kind::FromHasWords, "ada")}};
    const auto selection = selectionFor(all({inbox(), word("b"), all({word("c def*"), no})}));
    ASSERT_FALSE(selection.values.empty());
    EXPECT_EQ(std::get<std::string>(selection.values.front()), "(\"b\" AND \"c def\"*) NOT (sender : \"ada\")");
    EXPECT_EQ(selectionFor(all({no})).key, "m.seq") << "there is nothing to begin with";
}

}  // namespace qs
