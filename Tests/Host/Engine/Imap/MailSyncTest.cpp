#include "Imap/InboxWatch.h"
#include "Imap/SyncFixture.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

ImapFlags flags(const char* flag) { return {flag}; }

}  // namespace

TEST_F(SyncTest, BringsEverythingHereAndMarksNothing) {
    for (int i = 0; i < 120; ++i)
        deliver("m" + std::to_string(i), "INBOX", i % 2 == 0 ? "S" : "");
    deliver("notes", "Projects.Engine");
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_EQ(here("INBOX").size(), 120u);
    EXPECT_EQ(here("INBOX"), there("INBOX"));
    EXPECT_THAT(here("Projects.Engine"), ElementsAre("notes"));
    EXPECT_EQ(library().content(id("INBOX", "m7")), mail("m7"));
    restart();
    EXPECT_EQ(here("INBOX").size(), 120u);
    EXPECT_EQ(here("INBOX"), there("INBOX"));
}

TEST_F(SyncTest, TakesOverWhatAnotherClientDoes) {
    for (const char* each : {"read", "flagged", "gone", "moved"})
        deliver(each);
    start();
    ASSERT_TRUE(other().store(uid("INBOX", "read"), ImapChange::Add, flags("\\Seen")));
    ASSERT_TRUE(other().store(uid("INBOX", "flagged"), ImapChange::Add, flags("\\Flagged")));
    ASSERT_TRUE(other().move(uid("INBOX", "moved"), named("Archive")));
    const auto gone = uid("INBOX", "gone");
    ASSERT_TRUE(other().store(gone, ImapChange::Add, flags("\\Deleted")));
    ASSERT_TRUE(other().expunge(gone));
    ASSERT_TRUE(other().create(named("Travel")));
    ASSERT_TRUE(other().create(named("Travel/Old")));
    deliver("itinerary", "Travel");
    deliver("ticket", "Travel.Old");
    deliver("new");
    syncAll();
    expectBoth("INBOX", {"flagged F", "new", "read S"});
    expectBoth("Archive", {"moved"});
    EXPECT_THAT(here("Travel"), ElementsAre("itinerary"));
    EXPECT_THAT(here("Travel.Old"), ElementsAre("ticket"));
    ASSERT_TRUE(other().store(uid("INBOX", "read"), ImapChange::Remove, flags("\\Seen")));
    ASSERT_TRUE(other().rename(named("Travel"), named("Voyages")));
    ASSERT_TRUE(other().remove(named("Voyages/Old")));
    syncAll();
    expectBoth("INBOX", {"flagged F", "new", "read"});
    EXPECT_EQ(library().mailboxWithIdentifier("ada/Travel"), nullptr);
    EXPECT_THAT(here("Voyages"), ElementsAre("itinerary"));
    EXPECT_EQ(library().mailboxWithIdentifier("ada/Voyages.Old"), nullptr);
}

TEST_F(SyncTest, TellsTheServerWhatIsDoneHere) {
    for (const char* each : {"read", "flagged", "gone", "moved", "both"})
        deliver(each);
    start();
    flag("INBOX", "read", {.seen = true});
    flag("INBOX", "flagged", {.flagged = true, .colour = 3});
    erase("INBOX", "gone");
    move("moved", "INBOX", "Archive");
    flag("INBOX", "both", {.answered = true});
    move("both", "INBOX", "Trash");
    add("Drafts", "draft", {.seen = true});
    ASSERT_TRUE(library().createMailbox("ada", "Straßen/Nord"));
    add("Sent", "sent copy", {.seen = true});
    settle();
    expectBoth("INBOX", {"flagged F", "read S"});
    expectBoth("Archive", {"moved"});
    expectBoth("Drafts", {"draft S"});
    expectBoth("Sent", {"sent copy S"});
    syncAll();
    expectBoth("Trash", {"both R"});
    EXPECT_THAT(there("Straßen/Nord"), IsEmpty());
    EXPECT_EQ(library().summary(id("INBOX", "flagged"))->flags.colour, 3);
    // Nothing of it came back as something new.
    restart();
    expectBoth("INBOX", {"flagged F", "read S"});
    expectBoth("Sent", {"sent copy S"});
}

TEST_F(SyncTest, HandsOnAfterARestartWhatWasDoneOffline) {
    for (const char* each : {"read", "moved", "twice", "erased", "binned"})
        deliver(each);
    start();
    proxy_->goDown();
    flag("INBOX", "read", {.seen = true});
    move("moved", "INBOX", "Archive");
    move("twice", "INBOX", "Archive");
    move("twice", "Archive", "Junk");
    erase("INBOX", "erased");
    move("binned", "INBOX", "Trash");
    erase("Trash", "binned");
    add("Drafts", "draft");
    add("Drafts", "given up");
    erase("Drafts", "given up");
    settle();
    EXPECT_EQ(status().state, SyncStatus::State::Waiting);
    EXPECT_NE(status().text, "");
    proxy_->letPass();
    restart();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"read S"});
    expectBoth("Archive", {"moved"});
    expectBoth("Junk", {"twice"});
    expectBoth("Trash", {});
    expectBoth("Drafts", {"draft"});
}

TEST_F(SyncTest, OurFlagsHoldAndNothingThatIsMovedGetsLost) {
    for (const char* each : {"flags", "moved", "edited"})
        deliver(each);
    start();
    proxy_->goDown();
    flag("INBOX", "flags", {.seen = true});
    move("moved", "INBOX", "Archive");
    proxy_->letPass();
    ASSERT_TRUE(other().store(uid("INBOX", "flags"), ImapChange::Add, flags("\\Flagged")));
    const auto moved = uid("INBOX", "moved");
    ASSERT_TRUE(other().store(moved, ImapChange::Add, flags("\\Deleted")));
    ASSERT_TRUE(other().expunge(moved));
    syncAll();
    expectBoth("INBOX", {"edited", "flags SF"});
    expectBoth("Archive", {"moved"});
    EXPECT_THAT(engine_->takeNotices(), Contains(HasSubstr("deleted at the server while it was moved")));
}

// The server forgets all numbers of a mailbox; while it stands still.
void countAnew(const DovecotServer& server, const std::string& folder = "") {
    for (const auto& each : std::filesystem::directory_iterator(server.maildir("ada") / folder))
        if (each.path().filename().string().starts_with("dovecot")) std::filesystem::remove(each.path());
}

TEST_F(SyncTest, KnowsItsMessagesAgainWhenTheServerCountsAnew) {
    deliver("one", "INBOX", "S");
    deliver("two");
    start();
    proxy_->goDown();
    server_->stop();
    flag("INBOX", "two", {.flagged = true});
    countAnew(*server_);
    deliver("three");
    server_->restart();
    proxy_->letPass();
    const auto idBefore = id("INBOX", "one");
    syncAll();
    EXPECT_THAT(log_.messages(), Contains(HasSubstr("counts the messages of")));
    expectBoth("INBOX", {"one S", "three", "two F"});
    EXPECT_EQ(id("INBOX", "one"), idBefore) << "it was fetched again";
}

TEST_F(SyncTest, TakesOverWhatAnotherClientDidBeforeTheServerCountedAnew) {
    for (int i = 0; i < 40; ++i) {
        deliver("i" + std::to_string(i));
        deliver("a" + std::to_string(i), "Archive", i % 2 == 0 ? "S" : "");
    }
    start();
    const auto all = uids("Archive");
    ASSERT_TRUE(other().store({all.find("a0")->second}, ImapChange::Remove, flags("\\Seen")));
    ASSERT_TRUE(other().store({all.find("a1")->second}, ImapChange::Add, flags("\\Flagged")));
    other_.reset();
    server_->stop();
    countAnew(*server_, ".Archive");
    deliver("new");
    server_->restart();
    syncAll();
    const Lines archive = here("Archive");
    EXPECT_EQ(archive.size(), 40u);
    EXPECT_THAT(archive, Contains("a0"));
    EXPECT_THAT(archive, Contains("a1 F"));
    syncAll();
    EXPECT_EQ(archive, there("Archive"));
}

TEST_F(SyncTest, WhatWasDoneOfflineOutlivesThatTheServerCountsAnew) {
    start();
    std::size_t messages = 0;
    // Cut off at any place while it finds its way, it goes on there.
    for (unsigned cut = 0; cut < 3500; cut += cut == 0 ? 1 : 500) {
        const std::string tag = std::to_string(cut);
        SCOPED_TRACE("cut after " + tag);
        proxy_->letPass();
        deliver("a" + tag, "INBOX");
        deliver("b" + tag, "INBOX");
        deliver("c" + tag, "INBOX", "F");
        syncAll();
        proxy_->goDown();
        move("a" + tag, "INBOX", "Archive");
        flag("INBOX", "b" + tag, {.answered = true});
        add("INBOX", "d" + tag);
        ASSERT_TRUE(other().store(uid("INBOX", "b" + tag), ImapChange::Add, {"\\Seen"}));
        ASSERT_TRUE(other().store(uid("INBOX", "c" + tag), ImapChange::Remove, {"\\Flagged"}));
        other_.reset();
        server_->stop();
        countAnew(*server_);
        server_->restart();
        proxy_->letPass();
        if (cut > 1) proxy_->cutAfterReceived(cut);
        engine_->sync().syncNow({});
        settle();
        proxy_->letPass();
        loop_->advance(4000);
        syncAll();
        EXPECT_EQ(here("INBOX"), there("INBOX"));
        EXPECT_EQ(here("Archive"), there("Archive"));
        const Lines inbox = here("INBOX");
        EXPECT_EQ(std::count(inbox.begin(), inbox.end(), "b" + tag + " SR"), 1);
        EXPECT_EQ(std::count(inbox.begin(), inbox.end(), "c" + tag), 1);
        EXPECT_EQ(std::count(inbox.begin(), inbox.end(), "d" + tag), 1);
        EXPECT_THAT(here("Archive"), Contains("a" + tag));
        EXPECT_EQ(inbox.size() + here("Archive").size(), messages += 4);
        if (HasFailure()) break;
    }
}

TEST_F(SyncTest, FetchesAgainWhatMerelyVanished) {
    deliver("one");
    deliver("two");
    start();
    std::filesystem::remove(library().file(id("INBOX", "one")));
    library().rescan("ada/INBOX");
    settle();
    expectBoth("INBOX", {"one", "two"});
}

TEST_F(SyncTest, WaitsLongerAfterEachFailureAndGoesOnByItself) {
    deliver("one");
    server_->stop();
    start();
    ASSERT_EQ(status().state, SyncStatus::State::Waiting);
    const Date first = *status().until;
    EXPECT_GT(first, loop_->now() - 10);
    loop_->advance(60);
    EXPECT_EQ(status().state, SyncStatus::State::Waiting);
    EXPECT_GT(*status().until - loop_->now(), 0);
    server_->restart();
    loop_->advance(3600);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
}

TEST_F(SyncTest, StopsAtAWrongPasswordUntilItIsPutRight) {
    deliver("one");
    AccountRecord wrong = record();
    wrong.incoming->passwordCommand = {"/bin/echo", "wrong"};
    keepAccount(wrong);
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Stopped);
    loop_->advance(3600);
    EXPECT_EQ(status().state, SyncStatus::State::Stopped);
    keepAccount(record());
    settle();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
}

TEST_F(SyncTest, FindsItsWayWithoutWhatItKnew) {
    deliver("one");
    deliver("two");
    start();
    move("one", "INBOX", "Archive");
    add("Drafts", "draft");
    settle();
    engine_.reset();
    folder_.write("Mail/ada/sync.sqlite", "no database at all");
    for (const char* side : {"-wal", "-shm"})
        std::filesystem::remove(folder_ / ("Mail/ada/sync.sqlite" + std::string(side)));
    deliver("three");
    open();
    start();
    expectBoth("INBOX", {"three", "two"});
    expectBoth("Archive", {"one"});
    expectBoth("Drafts", {"draft"});
}

TEST_F(SyncTest, ErasesNothingThatCannotBeRemembered) {
    struct Refusing : MirrorKeeper {
        Result<void> willRemove(const std::vector<Message>& messages) override {
            EXPECT_EQ(messages.at(0).account, "ada");
            EXPECT_EQ(messages.at(0).folder, "");
            return full();
        }
        Result<void> willChange(const std::vector<std::pair<Message, MirrorWish>>&) override { return full(); }
        Result<void> willRename(const std::string&, const std::vector<Renaming>&) override { return full(); }
        Result<void> willRemoveFolders(const std::string&, const std::vector<std::string>&) override { return full(); }
        std::map<std::string, MirrorWish> wishes(const std::string&) override { return {}; }
        void isWanted(const std::string&, const std::string&) override {}
        static Result<void> full() { return failure("test", 1, "The disk is full."); }
    };
    deliver("one");
    start();
    library().setMirrorKeeper(std::make_shared<Refusing>());
    EXPECT_FALSE(library().erase({id("INBOX", "one")}));
    EXPECT_THAT(here("INBOX"), ElementsAre("one"));
}

// By the real clock, as what the server says unasked comes whenever it comes.
TEST(InboxWatch, TellsOfNewsAtOnce) {
    DovecotServer server;
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    ImapServer account;
    account.host = "127.0.0.1";
    account.port = server.port();
    account.security = TransportSecurity::None;
    account.user = "ada";
    int changes = 0;
    const auto limit = loop->after(60, [&] { loop->stop(); });
    const ImapSecret secret{ImapSecret::Kind::Password, "analytical"};
    InboxWatch watch(
        account, [&](const ImapSecret*) { return secret; }, [&] { loop->post([&] { ++changes; }); });
    ASSERT_TRUE(loop->runUntil([&] { return changes == 1; })) << "it watches";
    ImapConnection other(account);
    ASSERT_TRUE(other.open(secret));
    ASSERT_TRUE(other.append(ImapMailboxName::inbox(), SizedSource("Subject: news\r\n\r\nx\r\n")));
    EXPECT_TRUE(loop->runUntil([&] { return changes >= 2; }));
    EXPECT_TRUE(watch.isAlive());
}

}  // namespace qs
