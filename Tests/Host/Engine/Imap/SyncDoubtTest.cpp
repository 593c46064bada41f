// Answers that leave something out: what is here stays until the server has said clearly that it is gone there.
#include "Database/Database.h"
#include "Imap/MeddledFixture.h"

namespace qs {

using SyncDoubtTest = MeddledTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(SyncDoubtTest, AMailboxThatAListLeavesOutIsAskedFor) {
    ASSERT_TRUE(other().create(named("Travel")));
    deliver("ticket", "Travel");
    deliver("kept", "Archive");
    start();
    const long fetched = count("BODY.PEEK[]");
    replaceInAnswers(" Archive\r\n", " ()\r\n");
    replaceInAnswers(" Travel\r\n", " ()\r\n");
    syncAll();
    EXPECT_THAT(here("Archive"), ElementsAre("kept"));
    EXPECT_THAT(here("Travel"), ElementsAre("ticket"));
    flag("Travel", "ticket", {.flagged = true});
    settle();
    EXPECT_THAT(there("Travel"), ElementsAre("ticket F")) << "it is there as before";
    replaceInAnswers(" Archive\r\n", " Archive\r\n");
    replaceInAnswers(" Travel\r\n", " Travel\r\n");
    syncAll();
    expectBoth("Travel", {"ticket F"});
    EXPECT_EQ(count("BODY.PEEK[]"), fetched) << "and nothing had to come again";
    ASSERT_TRUE(other().select(ImapMailboxName::inbox()));
    ASSERT_TRUE(other().remove(named("Travel")));
    syncAll();
    EXPECT_EQ(library().mailboxWithIdentifier("ada/Travel"), nullptr) << "now it is gone indeed";
}

TEST_F(SyncDoubtTest, ARemovalStandsThoughAListLeavesTheMailboxOut) {
    ASSERT_TRUE(other().create(named("Travel")));
    deliver("ticket", "Travel");
    start();
    replaceInAnswers(" Travel\r\n", " ()\r\n");
    answer("DELETE", "NO [UNAVAILABLE] Not now.");
    ASSERT_TRUE(library().removeMailbox(box("Travel")));
    settle();
    syncAll();
    replaceInAnswers(" Travel\r\n", " Travel\r\n");
    answer("DELETE", "");
    syncAll();
    EXPECT_FALSE(other().select(named("Travel")));
    EXPECT_EQ(library().mailboxWithIdentifier("ada/Travel"), nullptr);
}

TEST_F(SyncDoubtTest, MessagesThatALookLeavesOutAreAskedFor) {
    // A server that keeps no account of changes is looked at as a whole each time.
    for (const auto& [from, to] : {std::pair{" CONDSTORE", ""}, {" QRESYNC", ""}, {"[HIGHESTMODSEQ ", "[XHIGH "}})
        replaceInAnswers(from, to);
    for (const char* each : {"one", "two", "three"})
        deliver(each);
    start();
    const auto all = uids("INBOX");
    replaceInAnswers("* 2 FETCH (UID 2 FLAGS", "* 2 XFETCH (UID 2 FLAGS");
    const long fetched = count("BODY.PEEK[]");
    syncAll();
    EXPECT_EQ(here("INBOX"), (Lines{"one", "three", "two"}));
    replaceInAnswers("* 2 FETCH (UID 2 FLAGS", "* 2 FETCH (UID 2 FLAGS");
    syncAll();
    EXPECT_EQ(here("INBOX"), there("INBOX"));
    EXPECT_EQ(count("BODY.PEEK[]"), fetched) << "and nothing had to come again";
    ASSERT_TRUE(other().store({all.find("one")->second}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other().expunge({all.find("one")->second}));
    syncAll();
    EXPECT_EQ(here("INBOX"), (Lines{"three", "two"})) << "what is gone goes";
}

// The server keeps account of changes, and these are none to it any more.
TEST_F(SyncDoubtTest, NewMessagesThatALookLeavesOutComeAllTheSame) {
    for (const char* each : {"one", "two", "three"})
        deliver(each);
    const auto seen = uids("INBOX").find("two")->second;
    ASSERT_TRUE(other().store({seen}, ImapChange::Add, {"\\Seen"}));
    replaceInAnswers("* 2 FETCH (UID 2 FLAGS", "* 2 XFETCH (UID 2 FLAGS");
    start();
    replaceInAnswers("* 2 FETCH (UID 2 FLAGS", "* 2 FETCH (UID 2 FLAGS");
    syncAll();
    expectBoth("INBOX", {"one", "three", "two S"});
}

TEST_F(SyncDoubtTest, ASelectionWithoutANumberOfMessagesIsNoEmptyMailbox) {
    for (const auto& [from, to] : {std::pair{" CONDSTORE", ""}, {" QRESYNC", ""}, {"[HIGHESTMODSEQ ", "[XHIGH "}})
        replaceInAnswers(from, to);
    for (const char* each : {"one", "two"})
        deliver(each);
    start();
    const auto known = here("INBOX");
    replaceInAnswers(" EXISTS", " XISTS");
    const long fetched = count("BODY.PEEK[]");
    syncAll();
    EXPECT_EQ(here("INBOX"), known);
    replaceInAnswers(" EXISTS", " EXISTS");
    syncAll();
    expectBoth("INBOX", {"one", "two"});
    EXPECT_EQ(count("BODY.PEEK[]"), fetched) << "and nothing had to come again";
}

TEST_F(SyncDoubtTest, ASearchWithoutAnAnswerDropsNothing) {
    replaceInAnswers(" QRESYNC", "");
    for (const char* each : {"one", "two", "three"})
        deliver(each);
    start();
    replaceInAnswers("* ESEARCH ", "* XSEARCH ");
    ASSERT_TRUE(other().store(uid("INBOX", "two"), ImapChange::Add, {"\\Seen"}));
    const long fetched = count("BODY.PEEK[]");
    syncAll();
    expectBoth("INBOX", {"one", "three", "two S"});
    EXPECT_EQ(count("BODY.PEEK[]"), fetched);
}

TEST_F(SyncDoubtTest, AnAnswerWithoutAValidityIsNoOtherValidity) {
    for (const char* each : {"one", "two"})
        deliver(each);
    start();
    const long headers = count("BODY.PEEK[HEADER]");
    replaceInAnswers("[UIDVALIDITY ", "[XVALIDITY ");
    deliver("new");
    syncAll();
    EXPECT_EQ(here("INBOX"), (Lines{"one", "two"}));
    replaceInAnswers("[UIDVALIDITY ", "[UIDVALIDITY ");
    syncAll();
    expectBoth("INBOX", {"new", "one", "two"});
    EXPECT_EQ(count("BODY.PEEK[HEADER]"), headers) << "nothing had to be recognised";
}

// As one that was set back to a copy of some days ago.
TEST_F(SyncDoubtTest, AServerThatKnowsLessThanItToldIsLookedAtAnew) {
    for (const char* each : {"gone", "kept", "read"})
        deliver(each);
    start();
    const auto all = uids("INBOX");
    ASSERT_TRUE(other().store({all.find("read")->second}, ImapChange::Add, {"\\Seen"}));
    ASSERT_TRUE(other().store({all.find("gone")->second}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other().expunge({all.find("gone")->second}));
    Database(folder_ / "Mail/ada/sync.sqlite", {}).run("UPDATE mailboxes SET mod_seq = 1000000");
    syncAll();
    expectBoth("INBOX", {"kept", "read S"});
}

// Another client is quicker by a moment.
TEST_F(SyncDoubtTest, WhatWasGoneBeforeItCouldBeMovedIsKeptAndPutThere) {
    struct Case {
        const char* why;
        bool tellsUids, moves;
    };
    int number = 0;
    for (const Case& c : {Case{"by MOVE", true, true}, Case{"by MOVE, without uids", false, true},
                          Case{"by COPY, without uids", false, false}}) {
        SCOPED_TRACE(c.why);
        if (!c.tellsUids) withoutUidplus();
        if (!c.moves) replaceInAnswers(" MOVE", "");
        const std::string subject = "m" + std::to_string(number++);
        deliver(subject);
        number == 1 ? start() : restart();
        bool isGone = false;
        whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
            const bool isMove = line.find(c.moves ? "UID MOVE" : "UID COPY") != std::string::npos;
            if (!isMove || std::exchange(isGone, true)) return {};
            const auto mine = uid("INBOX", subject);
            EXPECT_TRUE(other().store(mine, ImapChange::Add, {"\\Deleted"}));
            EXPECT_TRUE(other().expunge(mine));
            return refused(line, "OK There was nothing of it.");
        };
        move(subject, "INBOX", "Archive");
        for (int i = 0; i < 4; ++i)
            syncAll();
        EXPECT_THAT(here("Archive"), ::testing::Contains(subject));
        EXPECT_EQ(here("Archive"), there("Archive"));
        EXPECT_EQ(here("INBOX"), there("INBOX"));
    }
}

}  // namespace qs
