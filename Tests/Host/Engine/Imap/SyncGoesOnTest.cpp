// What must not stop an account for good: one odd answer, one message, one mailbox. For the network see
// SyncNetworkTest.
#include "Database/Database.h"
#include "Imap/MeddledFixture.h"

namespace qs {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SyncGoesOnTest : public MeddledTest {
protected:
    // In place of a command: the server hangs up.
    CuttingProxy::Passing hungUp() {
        replaceInAnswers("zz OK", "* OK");
        return {"zz LOGOUT\r\n"};
    }
    static bool has(const std::string& line, const std::string& words) { return line.find(words) != std::string::npos; }
    // Of that size at the server.
    void addOfSize(const std::string& folder, const std::string& subject, std::size_t size) {
        const std::string start = mail(subject, "");
        ASSERT_TRUE(
            library().add(box(folder), start + std::string(size - start.size() - 2, 'x') + "\r\n", {}, loop_->now()));
    }
    long fetchedIn(const std::string& folder) {
        long rows = 0;
        for (const MessageSummary& row : library().page(box(folder).criterion(), {}, 0, 1000).rows)
            if (row.isFetched) ++rows;
        return rows;
    }
};

TEST_F(SyncGoesOnTest, AServerThatTakesNothingForNowGivesOutAllTheSame) {
    replaceInAnswers(" LITERAL+", "");
    start();
    answer("APPEND", "NO [UNAVAILABLE] Not now.");
    for (const char* folder : {"Archive", "Drafts", "Junk", "Sent"})
        add(folder, "mine");
    deliver("new", "Trash");
    syncAll();
    EXPECT_THAT(here("Trash"), ElementsAre("new"));
    EXPECT_EQ(status().state, SyncStatus::State::Waiting) << "it is left alone";
    answer("APPEND", "");
    loop_->advance(4000);
    for (const char* folder : {"Archive", "Drafts", "Junk", "Sent"})
        expectBoth(folder, {"mine"});
}

TEST_F(SyncGoesOnTest, AMessageThatItNeverTakesForNowKeepsNoOtherBack) {
    replaceInAnswers(" LITERAL+", "");
    start();
    whenAsked_ = [](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (!has(line, " APPEND ") || !has(line, "{4711}")) return {};
        return refused(line, "NO [SERVERBUG] Internal error occurred.");
    };
    addOfSize("Drafts", "bad", 4711);
    for (int i = 0; i < 4; ++i) {
        loop_->advance(1);
        add("Drafts", "m" + std::to_string(i));
    }
    for (int i = 0; i < 3; ++i)
        syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_THAT(there("Drafts"), ElementsAre("m0", "m1", "m2", "m3"));
    whenAsked_ = nullptr;
    syncAll();
    expectBoth("Drafts", {"bad", "m0", "m1", "m2", "m3"});
}

TEST_F(SyncGoesOnTest, AMessageOverWhichTheServerFallsStaysThereAlone) {
    for (int i = 0; i < 12; ++i)
        deliver("m" + std::to_string(i), "Archive");
    deliver("other", "Trash");
    const std::uint32_t bad = uids("Archive").find("m4")->second;
    bool isSelected = false;
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (has(line, " SELECT ")) isSelected = has(line, "Archive");
        const auto wanted = fetchedBy(line);
        if (!isSelected || !wanted || !wanted->contains(bad)) return {};
        return hungUp();
    };
    start();
    for (int i = 0; i < 5; ++i)
        loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_EQ(fetchedIn("Archive"), 11);
    EXPECT_THAT(here("Trash"), ElementsAre("other"));
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(HasSubstr("A message in “Archive” can't be fetched")));
    whenAsked_ = nullptr;
    restart();
    expectBoth("Archive", there("Archive"));
}

TEST_F(SyncGoesOnTest, AMessageOverWhichTheServerFallsWhenItTakesItStaysHereAlone) {
    start();
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (!has(line, " APPEND ") || !has(line, "{4711")) return {};
        return hungUp();
    };
    addOfSize("Drafts", "bad", 4711);
    loop_->advance(1);
    add("Drafts", "good");
    deliver("new", "Trash");
    loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_THAT(there("Drafts"), ElementsAre("good"));
    EXPECT_THAT(here("Drafts"), ElementsAre("bad", "good"));
    EXPECT_THAT(here("Trash"), ElementsAre("new"));
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(HasSubstr("A message can't be put into “Drafts”")));
}

TEST_F(SyncGoesOnTest, AHeaderOverWhichTheServerFallsKeepsNoMessageBack) {
    for (int i = 0; i < 30; ++i)
        deliver("m" + std::to_string(i));
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (!has(line, "HEADER.FIELDS")) return {};
        return hungUp();
    };
    start();
    loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_EQ(fetchedIn("INBOX"), 30);
}

TEST_F(SyncGoesOnTest, AMailboxThatGivesOutNothingIsNotAskedForEachMessage) {
    for (int i = 0; i < 60; ++i)
        deliver("m" + std::to_string(i), "Archive");
    deliver("other", "Trash");
    bool isSelected = false;
    long asked = 0;
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (has(line, " SELECT ")) isSelected = has(line, "Archive");
        if (!isSelected || !fetchedBy(line)) return {};
        ++asked;
        return refused(line, "NO Permission denied.");
    };
    start();
    EXPECT_LE(asked, 70);
    EXPECT_THAT(here("Trash"), ElementsAre("other"));
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
}

TEST_F(SyncGoesOnTest, TrafficThatIsUsedUpIsNoFaultOfTheMessages) {
    for (int i = 0; i < 60; ++i)
        deliver("m" + std::to_string(i), "Archive");
    answer("BODY.PEEK[]", "NO [OVERQUOTA] Account exceeded command or bandwidth limits. (Failure)");
    start();
    EXPECT_LE(count("BODY.PEEK[]"), 3);
    answer("BODY.PEEK[]", "");
    loop_->advance(4000);
    EXPECT_EQ(fetchedIn("Archive"), 60);
    EXPECT_THAT(engine_->takeNotices(), IsEmpty());
}

TEST_F(SyncGoesOnTest, WhatItHasNoRoomForIsTriedAgainWithoutARestart) {
    replaceInAnswers(" LITERAL+", "");
    start();
    answer("APPEND", "NO [OVERQUOTA] The mailbox is full.");
    add("Drafts", "mine");
    settle();
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(AllOf(HasSubstr("“Drafts”"), HasSubstr("The mailbox is full."))));
    const long asked = count("APPEND");
    loop_->advance(1500);
    EXPECT_EQ(count("APPEND"), asked) << "not with every look";
    loop_->advance(3600);
    EXPECT_EQ(count("APPEND"), asked + 1);
    EXPECT_THAT(engine_->takeNotices(), IsEmpty()) << "it was told once";
    answer("APPEND", "");
    syncAll();  // the person has made room, and asks
    expectBoth("Drafts", {"mine"});
}

TEST_F(SyncGoesOnTest, AMoveThatIsRefusedIsToldOnce) {
    deliver("one");
    start();
    answer("UID MOVE", "NO [OVERQUOTA] The mailbox is full.");
    move("one", "INBOX", "Archive");
    syncAll();
    syncAll();
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(AllOf(HasSubstr("“Archive”"), HasSubstr("The mailbox is full."))));
    answer("UID MOVE", "");
    syncAll();
    expectBoth("Archive", {"one"});
}

TEST_F(SyncGoesOnTest, AMailboxThatIsGoneWhenSomethingIsPutThereIsMadeAgain) {
    replaceInAnswers(" LITERAL+", "");
    ASSERT_TRUE(other().create(named("Travel")));
    start();
    onceBefore(" APPEND ", [&] { ASSERT_TRUE(other().remove(named("Travel"))); });
    answer(" APPEND ", "NO [TRYCREATE] Mailbox doesn't exist: Travel");
    add("Travel", "mine");
    settle();
    answer(" APPEND ", "");
    syncAll();
    syncAll();
    expectBoth("Travel", {"mine"});
    EXPECT_THAT(engine_->takeNotices(), IsEmpty());
}

TEST_F(SyncGoesOnTest, AMailboxThatIsGoneWhenSomethingIsMovedThereIsMadeAgain) {
    ASSERT_TRUE(other().create(named("Travel")));
    deliver("mine");
    start();
    onceBefore(" UID MOVE ", [&] { ASSERT_TRUE(other().remove(named("Travel"))); });
    move("mine", "INBOX", "Travel");
    settle();
    syncAll();
    syncAll();
    expectBoth("Travel", {"mine"});
    EXPECT_THAT(engine_->takeNotices(), IsEmpty());
}

TEST_F(SyncGoesOnTest, FlagsThatAMailboxDoesNotKeepAreNotPutThereEither) {
    replaceInAnswers(" \\*)]", ")]");
    deliver("any", "Archive");  // or nobody looks what it keeps
    start();
    add("Archive", "coloured", {.flagged = true, .colour = 3});
    settle();
    EXPECT_THAT(there("Archive"), ElementsAre("any", "coloured F"));
    EXPECT_EQ(count("$MailFlagBit"), 0);
}

TEST_F(SyncGoesOnTest, AMailboxOverWhichTheServerFallsKeepsNoOtherBack) {
    deliver("bad", "Archive");
    deliver("other", "Trash");
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (!has(line, " SELECT \"Archive\"")) return {};
        return hungUp();
    };
    start();
    loop_->advance(4000);
    EXPECT_THAT(here("Trash"), ElementsAre("other"));
    add("Drafts", "mine");
    loop_->advance(4000);
    EXPECT_THAT(there("Drafts"), ElementsAre("mine"));
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(HasSubstr("“Archive” can't be brought into step")));
    whenAsked_ = nullptr;
    loop_->advance(4000);
    expectBoth("Archive", {"bad"});
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
}

TEST_F(SyncGoesOnTest, AChangeOverWhichTheServerFallsKeepsNoMailBack) {
    deliver("one");
    start();
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (!has(line, "UID MOVE")) return {};
        return hungUp();
    };
    move("one", "INBOX", "Archive");
    settle();
    deliver("new", "Trash");
    loop_->advance(4000);
    EXPECT_THAT(here("Trash"), ElementsAre("new"));
    whenAsked_ = nullptr;
    loop_->advance(4000);
    expectBoth("Archive", {"one"});
    expectBoth("INBOX", {});
}

TEST_F(SyncGoesOnTest, AClockThatIsSetBackProlongsNoWait) {
    deliver("one");
    proxy_->goDown();
    start();
    ASSERT_EQ(status().state, SyncStatus::State::Waiting);
    loop_->setClock(loop_->now() - 400 * 86'400.0);
    proxy_->letPass();
    loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
}

TEST_F(SyncGoesOnTest, WhatIsKnownOfTheServerMayNotBeReadableForAWhile) {
    for (const char* each : {"one", "two"})
        deliver(each);
    start();
    engine_.reset();
    const auto file = folder_ / "Mail/ada/sync.sqlite";
    const auto version = Database(file, {}).integer("PRAGMA user_version");
    Database(file, {}).runScript("PRAGMA user_version = 99");
    open();
    start();
    EXPECT_FALSE(library().erase({id("INBOX", "one")})) << "the server could not be told later";
    EXPECT_THAT(engine_->takeNotices(), ElementsAre(HasSubstr("It is tried again.")));
    loop_->advance(200);
    EXPECT_THAT(engine_->takeNotices(), IsEmpty()) << "it was told once";
    Database(file, {}).runScript("PRAGMA user_version = " + std::to_string(version));
    deliver("new");
    loop_->advance(100);
    ASSERT_THAT(engine_->sync().statuses(), SizeIs(1));
    erase("INBOX", "one");
    syncAll();
    expectBoth("INBOX", {"new", "two"});
}

}  // namespace qs
