// What the library finds: by criteria, by texts, and by what a person types.
#include "LibraryTest.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Kind = MessageCriterion::Kind;

class LibrarySearch : public LibraryTest {};

TEST_F(LibrarySearch, CriteriaSelectWhatTheySay) {
    open();
    add("ada/INBOX", "Ärger", 100, {.seen = true}, "Message-Id: <a@x>\r\nX-Universally-Unique-Identifier: U-1\r\n");
    add("ada/INBOX", "Budget", 200, {.flagged = true});
    add("ben/INBOX", "Cake", 300);
    const auto in = [](const char* mailbox) { return MessageCriterion::with(Kind::InMailbox, mailbox); };
    struct Case {
        const char* why;
        MessageCriterion criterion;
        std::vector<std::string> subjects;
    };
    const std::vector<Case> cases{
        {"all of nothing is everything", {}, {"Cake", "Budget", "Ärger"}},
        {"any of nothing is nothing", MessageCriterion::anyOf({}), {}},
        {"a mailbox", in("ada/INBOX"), {"Budget", "Ärger"}},
        {"an unknown mailbox", in("ada/None"), {}},
        {"an account", MessageCriterion::with(Kind::InAccount, "ben"), {"Cake"}},
        {"a Message-Id", MessageCriterion::with(Kind::MessageIDIs, "a@x"), {"Ärger"}},
        {"a unique id", MessageCriterion::with(Kind::UniqueIDIs, "U-1"), {"Ärger"}},
        {"no id finds nothing", MessageCriterion::with(Kind::UniqueIDIs, ""), {}},
        {"subjects without regard to case", MessageCriterion::with(Kind::SubjectContains, "äRG"), {"Ärger"}},
        {"senders", MessageCriterion::with(Kind::FromContains, "HOPPER"), {"Cake", "Budget", "Ärger"}},
        {"recipients", MessageCriterion::with(Kind::ToContains, "100%"), {}},
        {"since, inclusive", MessageCriterion::with(Kind::ReceivedSince, Date{200}), {"Cake", "Budget"}},
        {"before, exclusive", MessageCriterion::with(Kind::ReceivedBefore, Date{200}), {"Ärger"}},
        {"unread", MessageCriterion::with(Kind::IsUnread), {"Cake", "Budget"}},
        {"flagged", MessageCriterion::with(Kind::IsFlagged), {"Budget"}},
        {"attachments", MessageCriterion::with(Kind::HasAttachments), {}},
        {"not", {Kind::Not, "", {}, {in("ben/INBOX"), MessageCriterion::with(Kind::IsFlagged)}}, {"Ärger"}},
        {"all", MessageCriterion::allOf({in("ada/INBOX"), MessageCriterion::with(Kind::IsUnread)}), {"Budget"}},
        {"any",
         MessageCriterion::anyOf({in("ben/INBOX"), MessageCriterion::with(Kind::IsFlagged)}),
         {"Cake", "Budget"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(subjects(c.criterion), c.subjects) << c.why;
        EXPECT_EQ(library_->page(c.criterion, "", 0, 0).total, static_cast<int>(c.subjects.size())) << c.why;
        EXPECT_EQ(library_->messagesMatchingCriterion(c.criterion, 0, kSearchStore).size(), c.subjects.size()) << c.why;
    }
    // As many ids as a conversation may name.
    std::vector<MessageCriterion> ids(5000, MessageCriterion::with(Kind::MessageIDIs, "a@x"));
    EXPECT_THAT(subjects(MessageCriterion::anyOf(ids)), ElementsAre("Ärger"));
    MessageCriterion deep = in("ada/INBOX");
    for (int i = 0; i < 200; ++i)
        deep = MessageCriterion::allOf({std::move(deep)});
    EXPECT_THAT(subjects(deep), IsEmpty());
}

TEST_F(LibrarySearch, TextsAreFoundWithinWordsWhereverTheMessageGoes) {
    open();
    const auto id = add("ada/INBOX", "Die lange Straße „100%“ 東京会議", 100);
    add("ada/INBOX", "Weekly report", 200);
    const auto contains = [](const char* text) { return MessageCriterion::with(Kind::SubjectContains, text); };
    struct Case {
        const char *why, *text;
        bool isFound;
    };
    for (const Case& c : {Case{"within a word", "traß", true}, Case{"the same in capitals", "STRASSE", true},
                          Case{"across words", "ange str", true}, Case{"not in that order", "lange die", false},
                          Case{"two characters", "00", true}, Case{"signs", "„100%“", true},
                          Case{"a script without blanks", "京会議", true}, Case{"quotes", "\"lange\"", false},
                          Case{"all of the pieces, but apart", "lange lange", false}}) {
        EXPECT_EQ(subjects(contains(c.text)).size(), c.isFound ? 1U : 0U) << c.why;
        const MessageCriterion either = MessageCriterion::anyOf({contains(c.text), contains("ekly rep")});
        EXPECT_EQ(subjects(either).size(), c.isFound ? 2U : 1U) << c.why;
        EXPECT_EQ(subjects({Kind::Not, "", {}, {contains(c.text)}}).size(), c.isFound ? 1U : 2U) << c.why;
    }
    ASSERT_TRUE(library_->move({id}, box("ada/Drafts")));  // where it stands by its Date header
    EXPECT_THAT(subjects(contains("strasse")), SizeIs(1));
    ASSERT_TRUE(library_->erase({library_->ids(contains("strasse"), "", 5).front()}));
    EXPECT_THAT(subjects(contains("strasse")), IsEmpty());
    EXPECT_THAT(subjects(contains("report")), SizeIs(1));
}

TEST_F(LibrarySearch, SearchFindsWhatWasTyped) {
    open();
    ASSERT_TRUE(
        library_->add(box("ada/INBOX"),
                      "From: Grace <grace@example.net>\r\nTo: Ada <ada@example.org>\r\nCc: \"Zoë\" <z@b.example>\r\n"
                      "Subject: Compilers\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
                      "Content-Type: text/html; charset=utf-8\r\n\r\n"
                      "<p>Naïve <b>par</b> \"quoted-words\" 明日の会議は東京です Stra&szlig;e</p>\r\n--b\r\n"
                      "Content-Type: application/pdf\r\nContent-Disposition: attachment; filename=ledger.pdf\r\n\r\n"
                      "1\r\n--b--\r\n",
                      {.seen = true, .flagged = true}, {1'500'000'000}));
    add("ada/INBOX", "Other", 50);
    add("ada/Sent", "Sent one", 40);
    for (const char* words : {"compil",
                              "strasse",
                              "STRAßE",
                              "COMPILERS grace",
                              "zoe",
                              "naive",
                              "z@b.example",
                              "quoted-wor",
                              "\"quoted",
                              "-- compil",
                              "会議",
                              "東京",
                              "日の会",
                              "subject:compil",
                              "from:grace subject:compilers",
                              "to:zoë",
                              "body:\"naive par\"",
                              "ledger.pdf",
                              "has:attachment",
                              "is:read",
                              "is:flagged",
                              "on:2017-07-14",
                              "after:2017 in:inbox",
                              "-other in:inbox",
                              "grace -is:unread",
                              "after:2016 before:2018",
                              "\"grace\" -from:hopper",
                              "in:inbox -subject:other"})
        EXPECT_THAT(searching(words), ElementsAre("Compilers")) << words;
    for (const char* words : {"ompilers", "grace missing", "compilers AND", "compil grace", "from:compilers",
                              "\"par naive\"", "京東", "subject:grace", "before:1975 has:attachment", "in:nowhere",
                              "on:2017-07-15", "\"compil\"", "-compilers compilers"})
        EXPECT_THAT(searching(words), IsEmpty()) << words;
    EXPECT_THAT(searching("hop \" * ( )"), ElementsAre("Other", "Sent one"));
    EXPECT_THAT(searching(" ... "), SizeIs(3));
    EXPECT_THAT(searching("-compilers"), ElementsAre("Other", "Sent one"));
    EXPECT_THAT(searching("in:sent"), ElementsAre("Sent one"));
    EXPECT_EQ(library_->page(box("ada/Sent").criterion(), "zoe", 0, 10).total, 0);
}
}  // namespace qs
