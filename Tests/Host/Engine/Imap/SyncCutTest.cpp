// Connections that break anywhere, and programs that end there: afterwards both sides hold every message once.
#include <cstdlib>
#include <random>

#include "Imap/SyncFixture.h"

namespace qs {

namespace {

int rounds(int usual, int full) { return std::getenv("QUILLSTEAD_FULL_TESTS") ? full : usual; }

}  // namespace

class SyncCutTest : public SyncTest {
protected:
    static constexpr const char* kFolders[] = {"INBOX", "Archive", "Trash", "Drafts"};

    // Every message of the other client's or ours is on both sides as often as it should be, in the same mailbox, with
    // the same flags.
    void expectSame(const std::set<std::string>& subjects, const std::string& what) {
        std::multiset<std::string> found;
        for (const char* folder : kFolders) {
            EXPECT_EQ(here(folder), there(folder)) << what << ", " << folder;
            for (const auto& [subject, uid] : uids(folder))
                found.insert(subject);
        }
        EXPECT_EQ(found, std::multiset<std::string>(subjects.begin(), subjects.end())) << what;
    }
    // Moves, removals, uploads and flags of ours, with a cut in each round, and another client beside.
    void changeWithCuts(int count, unsigned seed);
    void finish() {
        proxy_->letPass();
        loop_->advance(4000);  // whatever was waited for
        syncAll();
    }
};

// A server that knows nothing but what every one should, and UIDPLUS: no MOVE, no CONDSTORE.
class PlainServerCutTest : public SyncCutTest {
protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<DovecotServer>(
            DovecotServer::Options{.settings = "protocol imap {\n  imap_capability = IMAP4rev1 LITERAL+ UIDPLUS\n}"});
    }
};

TEST_F(SyncCutTest, AFirstSyncThatIsCutOffGoesOnWhereItWas) {
    std::set<std::string> subjects;
    for (int i = 0; i < 60; ++i)
        deliver(*subjects.insert("m" + std::to_string(i)).first, i % 3 == 0 ? "Archive" : "INBOX");
    std::mt19937 random(7);
    engine_->sync().start();
    for (int round = 0; round < rounds(6, 60); ++round) {
        proxy_->cutAfterReceived(500 + random() % 12000);
        if (random() % 2 == 0)
            restart();
        else
            loop_->advance(100);
    }
    finish();
    expectSame(subjects, "first sync");
}

void SyncCutTest::changeWithCuts(int count, unsigned seed) {
    std::mt19937 random(seed);
    start();
    for (int round = 0; round < count; ++round) {
        const std::string tag = "r" + std::to_string(round);
        std::set<std::string> subjects;
        for (const char* folder : kFolders)
            for (const auto& [subject, uid] : uids(folder))
                subjects.insert(subject);
        for (const char* each : {"move", "erase", "keep"}) {
            deliver(tag + each);
            subjects.insert(tag + each);
        }
        finish();
        // What is done here, while nothing gets through.
        const std::string target = random() % 2 == 0 ? "Archive" : "Trash";
        move(tag + "move", "INBOX", target);
        erase("INBOX", tag + "erase");
        subjects.erase(tag + "erase");
        const bool isFlagged = random() % 2 == 0;
        flag("INBOX", tag + "keep", {.seen = true, .flagged = isFlagged});
        add("Drafts", tag + "draft", {.seen = true});
        subjects.insert(tag + "draft");
        const bool isSent = random() % 2 == 0;
        const unsigned bytes = 60 + static_cast<unsigned>(random() % (isSent ? 1500 : 4000));
        if (isSent)
            proxy_->cutAfterSent(bytes);
        else
            proxy_->cutAfterReceived(bytes);
        if (random() % 2 == 0)
            restart();
        else
            settle();
        // Another client goes on meanwhile.
        const bool isAnswered = random() % 3 == 0;
        if (isAnswered) {
            const auto kept = uid("INBOX", tag + "keep");
            ASSERT_TRUE(other().store(kept, ImapChange::Add, {"\\Answered"}));
        }
        finish();
        expectSame(subjects,
                   tag + (isSent ? ", cut after sending " : ", cut after receiving ") + std::to_string(bytes));
        // And nothing of it was undone on both sides.
        EXPECT_THAT(here(target), ::testing::Contains(tag + "move"));
        EXPECT_THAT(here("INBOX"), ::testing::Contains(line(tag + "keep", true, isFlagged, isAnswered, false)));
        if (HasFailure()) break;
    }
}

TEST_F(SyncCutTest, MovesUploadsAndRemovalsHappenOnce) { changeWithCuts(rounds(12, 400), 20261123); }

TEST_F(PlainServerCutTest, MovesUploadsAndRemovalsHappenOnce) { changeWithCuts(rounds(8, 400), 42); }

}  // namespace qs
