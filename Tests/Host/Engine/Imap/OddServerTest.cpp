// Servers that refuse, forget or tell less than others.
#include <filesystem>

#include "Database/Database.h"
#include "Imap/MeddledFixture.h"

namespace qs {

using OddServerTest = MeddledTest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

TEST_F(OddServerTest, AMailboxThatItCannotReadKeepsNothingElseBack) {
    deliver("read");
    deliver("kept", "Archive");
    start();
    answer("SELECT \"Archive\"", "NO [SERVERBUG] Internal error occurred.");
    answer("STATUS \"Archive\"", "NO [SERVERBUG] Internal error occurred.");
    flag("INBOX", "read", {.seen = true});
    add("Drafts", "draft");
    deliver("new", "Trash");
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"read S"});
    expectBoth("Drafts", {"draft"});
    expectBoth("Trash", {"new"});
    EXPECT_THAT(here("Archive"), ElementsAre("kept"));
}

TEST_F(OddServerTest, OneThatRefusesEverythingForNowIsLeftAlone) {
    start();
    answer("SELECT", "NO [LIMIT] Please try again later.");
    answer("STATUS", "NO [LIMIT] Please try again later.");
    const long asked = count("SELECT") + count("STATUS");
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Waiting);
    EXPECT_LE(count("SELECT") + count("STATUS") - asked, 3);
}

TEST_F(OddServerTest, AnUploadThatIsRefusedForNowKeepsNothingElseBack) {
    replaceInAnswers(" LITERAL+", "");
    start();
    answer("APPEND", "NO [LIMIT] Not now.");
    add("Drafts", "one");
    add("Drafts", "two");
    deliver("new", "Trash");
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("Trash", {"new"});
    EXPECT_THAT(there("Drafts"), IsEmpty());
    EXPECT_THAT(engine_->takeNotices(), IsEmpty());
    answer("APPEND", "");
    syncAll();
    expectBoth("Drafts", {"one", "two"});
}

TEST_F(OddServerTest, AMessageThatItDoesNotGiveOutKeepsTheOthersFromNothing) {
    constexpr int kCount = 60;
    for (const bool isRefused : {true, false}) {
        const std::string mailbox = isRefused ? "Archive" : "Trash";
        SCOPED_TRACE(mailbox);
        for (int i = 0; i < kCount; ++i)
            deliver("m" + std::to_string(i), mailbox);
        const auto all = uids(mailbox);
        const std::uint32_t bad = all.find("m30")->second;
        bool isSelected = false;
        long asked = 0;
        whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
            if (line.find(" SELECT ") != std::string::npos) isSelected = line.find(mailbox) != std::string::npos;
            const auto wanted = fetchedBy(line);
            if (!isSelected || !wanted || !wanted->contains(bad)) return {};
            ++asked;
            if (isRefused) return refused(line, "NO [SERVERBUG] Some messages could not be fetched.");
            ImapUidSet rest;
            for (const auto& [subject, uid] : all)
                if (uid != bad && wanted->contains(uid)) rest.add(uid);
            const auto tag = line.substr(0, line.find(' '));
            if (rest.isEmpty()) return CuttingProxy::Passing{"", tag + " OK\r\n"};
            return CuttingProxy::Passing{tag + " UID FETCH " + rest.texts(6000).at(0) +
                                         line.substr(line.find(' ', line.find("FETCH ") + 6))};
        };
        const auto fetched = [&] {
            long rows = 0;
            for (const MessageSummary& row : library().page(box(mailbox).criterion(), {}, 0, 1000).rows)
                if (row.isFetched) ++rows;
            return rows;
        };
        if (isRefused) start();
        syncAll();
        syncAll();
        EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
        EXPECT_EQ(fetched(), kCount - 1);
        EXPECT_EQ(here(mailbox).size(), static_cast<std::size_t>(kCount)) << "it stays in the list";
        const Lines notices = engine_->takeNotices();
        EXPECT_THAT(notices, SizeIs(1));
        EXPECT_THAT(notices, Contains(HasSubstr("A message in “" + mailbox + "” can't be fetched")));
        // It is let alone, and what is new comes all the same.
        const long before = asked;
        deliver("new", mailbox);
        syncAll();
        EXPECT_EQ(asked, before);
        EXPECT_EQ(fetched(), kCount);
        // After a restart it gets another chance.
        whenAsked_ = nullptr;
        restart();
        EXPECT_EQ(fetched(), kCount + 1);
        EXPECT_EQ(here(mailbox), there(mailbox));
    }
}

TEST_F(OddServerTest, WhatIsErasedOfAMessageThatItDoesNotGiveOutIsErasedThere) {
    for (int i = 0; i < 30; ++i)
        deliver("m" + std::to_string(i));
    const std::uint32_t bad = uids("INBOX").find("m7")->second;
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        const auto wanted = fetchedBy(line);
        if (!wanted || !wanted->contains(bad)) return {};
        return refused(line, "NO Some messages could not be FETCHed (Failure)");
    };
    start();
    erase("INBOX", "m7");
    settle();
    syncAll();
    EXPECT_THAT(there("INBOX"), SizeIs(29));
    EXPECT_EQ(here("INBOX"), there("INBOX"));
}

TEST_F(OddServerTest, WhatItRefusesOfAMailboxKeepsTheRestOfItFromNothing) {
    for (const char* each : {"flagged", "coloured", "refused", "binned", "erased"})
        deliver(each);
    start();
    whenAsked_ = [](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        const bool isMove = line.find("UID MOVE") != std::string::npos && line.find("Archive") != std::string::npos;
        if (isMove || line.find("$MailFlagBit") != std::string::npos) return refused(line, "NO [OVERQUOTA] No room.");
        return {};
    };
    flag("INBOX", "coloured", {.flagged = true, .colour = 3});
    flag("INBOX", "flagged", {.flagged = true});
    move("refused", "INBOX", "Archive");
    move("binned", "INBOX", "Trash");
    erase("INBOX", "erased");
    settle();
    EXPECT_THAT(there("INBOX"), ElementsAre("coloured", "flagged F", "refused"));
    EXPECT_THAT(there("Trash"), ElementsAre("binned"));
    EXPECT_THAT(here("Archive"), ElementsAre("refused"));
    whenAsked_ = nullptr;
    syncAll();
    expectBoth("INBOX", {"coloured F", "flagged F"});
    expectBoth("Archive", {"refused"});
}

TEST_F(OddServerTest, AMailboxIsNotRemovedThereBeforeAllIsMovedOutOfIt) {
    ASSERT_TRUE(other().create(named("Travel")));
    deliver("ticket", "Travel");
    start();
    whenAsked_ = [](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (line.find("UID MOVE") == std::string::npos) return {};
        return refused(line, "NO [OVERQUOTA] No room.");
    };
    move("ticket", "Travel", "Archive");
    ASSERT_TRUE(library().removeMailbox(box("Travel")));
    settle();
    syncAll();
    EXPECT_THAT(there("Travel"), ElementsAre("ticket"));
    whenAsked_ = nullptr;
    syncAll();
    expectBoth("Archive", {"ticket"});
    EXPECT_FALSE(other().select(named("Travel")));
}

TEST_F(OddServerTest, WhatItTookInWithoutAUidIsNotSentTwice) {
    struct Case {
        const char* why;
        std::vector<std::pair<const char*, const char*>> replaced;
        bool isRecognised;
    };
    const std::vector<Case> cases{
        {"nothing else is odd", {}, true},
        {"sizes are guesses", {{"RFC822.SIZE ", "RFC822.SIZE 1"}}, true},
        {"it changes headers", {{"Subject: ", "sUBJECT: "}}, true},
        {"beyond recognition", {{"Subject: ", "sUBJECT: "}, {"ge-Id: <", "ge-Id: <X"}}, false}};
    withoutUidplus();
    replaceInAnswers(" MOVE", "");
    start();
    int number = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const std::string draft = "d" + std::to_string(number), moved = "m" + std::to_string(number);
        ++number;
        deliver(moved);
        syncAll();
        for (const auto& [from, to] : c.replaced)
            replaceInAnswers(from, to);
        const long appended = count(" APPEND "), copied = count(" UID COPY ");
        add("Drafts", draft);
        move(moved, "INBOX", "Archive");
        for (int i = 0; i < 4; ++i)
            syncAll();
        EXPECT_EQ(count(" APPEND ") - appended, 1);
        EXPECT_EQ(count(" UID COPY ") - copied, 1);
        for (const auto& [from, to] : c.replaced)
            replaceInAnswers(from, from);
        const Lines drafts = there("Drafts"), archive = there("Archive");
        EXPECT_EQ(std::count(drafts.begin(), drafts.end(), draft), 1);
        EXPECT_EQ(std::count(archive.begin(), archive.end(), moved), 1);
        if (!c.isRecognised) continue;
        EXPECT_EQ(here("Drafts"), drafts);
        EXPECT_EQ(here("Archive"), archive);
    }
}

TEST_F(OddServerTest, WhatCannotBeExpungedIsMarkedOnce) {
    withoutUidplus();
    deliver("erased");
    start();
    erase("INBOX", "erased");
    for (int i = 0; i < 3; ++i)
        syncAll();
    EXPECT_THAT(there("INBOX"), ElementsAre("erased T"));
    EXPECT_THAT(here("INBOX"), IsEmpty());
    EXPECT_EQ(count("UID STORE"), 1);
}

TEST_F(OddServerTest, FlagsThatAMailboxDoesNotKeepStayHere) {
    replaceInAnswers(" \\*)]", ")]");
    deliver("coloured");
    start();
    flag("INBOX", "coloured", {.flagged = true, .colour = 3});
    settle();
    ASSERT_TRUE(other().store(uid("INBOX", "coloured"), ImapChange::Add, {"\\Seen"}));
    for (int i = 0; i < 3; ++i)
        syncAll();
    expectBoth("INBOX", {"coloured SF"});
    EXPECT_EQ(library().summary(id("INBOX", "coloured"))->flags.colour, 3);
    EXPECT_EQ(count("$MailFlagBit"), 0);
    replaceInAnswers(" \\*)]", " \\*)]");
    deliver("new");  // or nobody looks what it keeps
    syncAll();
    EXPECT_GT(count("$MailFlagBit"), 0) << "it keeps them now";
}

TEST_F(OddServerTest, WhatTheIndexDoesNotKnowIsChangedAllTheSame) {
    for (const char* each : {"deleted", "read", "kept"})
        deliver(each);
    start();
    const auto all = uids("INBOX");
    ASSERT_TRUE(other().store({all.find("deleted")->second}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other().expunge({all.find("deleted")->second}));
    ASSERT_TRUE(other().store({all.find("read")->second}, ImapChange::Add, {"\\Seen"}));
    Database(folder_ / "Library.sqlite", {}).run("UPDATE messages SET name = 'x' || name");
    syncAll();
    syncAll();
    EXPECT_EQ(count("APPEND"), 0);
    EXPECT_THAT(there("INBOX"), ElementsAre("kept", "read S"));
    long files = 0, seen = 0;
    for (const char* part : {"cur", "new"})
        for (const auto& file : std::filesystem::directory_iterator(folder_ / "Mail/ada" / part)) {
            ++files;
            if (file.path().filename().string().ends_with("S")) ++seen;
        }
    EXPECT_EQ(std::make_pair(files, seen), std::make_pair(2L, 1L));
}

TEST_F(OddServerTest, AMailboxOfTheSameValidityIsNotTakenForARenamedOne) {
    ASSERT_TRUE(other().create(named("A")));
    for (const char* each : {"one", "two", "three"})
        deliver(each, "A");
    start();
    const auto a = other().select(named("A"));
    ASSERT_TRUE(other().create(named("B")));
    for (const char* each : {"three", "one", "two"})
        ASSERT_TRUE(other().append(named("B"), SizedSource(mail(each))));
    const auto b = other().select(named("B"));
    ASSERT_TRUE(other().remove(named("A")));
    ASSERT_TRUE(a && b);
    replaceInAnswers("UIDVALIDITY " + std::to_string(b->uidValidity), "UIDVALIDITY " + std::to_string(a->uidValidity));
    syncAll();
    EXPECT_EQ(here("B"), there("B"));
    erase("B", "one");
    settle();
    syncAll();
    EXPECT_EQ(here("B"), (Lines{"three", "two"}));
    EXPECT_EQ(there("B"), (Lines{"three", "two"}));
}

TEST_F(OddServerTest, WhatWentWithoutATraceIsNoticedByTheCount) {
    replaceInAnswers(" QRESYNC", "");
    deliver("kept", "Archive");
    deliver("gone", "Archive");
    start();
    const auto gone = uid("Archive", "gone");
    const auto before = other().select(named("Archive"));
    ASSERT_TRUE(other().store(gone, ImapChange::Add, {"\\Deleted"}));
    syncAll();
    const auto marked = other().select(named("Archive"));
    ASSERT_TRUE(other().expunge(gone));
    const auto after = other().select(named("Archive"));
    ASSERT_TRUE(before && marked && after);
    ASSERT_GT(after->highestModSeq, marked->highestModSeq);
    replaceInAnswers("HIGHESTMODSEQ " + std::to_string(after->highestModSeq),
                     "HIGHESTMODSEQ " + std::to_string(marked->highestModSeq));
    syncAll();
    EXPECT_THAT(here("Archive"), ElementsAre("kept"));
}

}  // namespace qs
