// The index is derived: when it takes nothing any more, what the person wishes and what comes from the server goes on.
#include "Database/Database.h"
#include "Imap/MeddledFixture.h"

namespace qs {

using ::testing::ElementsAre;

class SyncWithoutIndexTest : public SyncTest {
protected:
    void SetUp() override {
        SyncTest::SetUp();
        for (const char* each : {"bin", "cleared", "gone", "kept", "moved", "moved too", "read", "read too"})
            deliver(each);
        start();
        for (const char* each : {"bin", "cleared", "gone", "kept", "moved", "moved too", "read", "read too"})
            ids_[each] = id("INBOX", each);
    }
    // What fails takes the transaction with it, as a full disk does, or is alone in failing.
    void breakIndex(const std::string& how) {
        Database index(folder_ / "Library.sqlite", {});
        for (const char* change : {"UPDATE", "INSERT", "DELETE"})
            index.runScript("CREATE TRIGGER broken_" + std::string(change) + " BEFORE " + change +
                            " ON messages BEGIN SELECT RAISE(" + how + ", 'no room'); END");
    }
    void mendIndex() {
        Database index(folder_ / "Library.sqlite", {});
        for (const char* change : {"UPDATE", "INSERT", "DELETE"})
            index.runScript("DROP TRIGGER broken_" + std::string(change));
        loop_->advance(60);
        for (const char* folder : {"INBOX", "Archive"})
            library().rescan("ada/" + std::string(folder));
        settle();
    }
    void changeAll() {
        EXPECT_TRUE(library().setFlags({ids_["read"], ids_["read too"]}, {.seen = true}));
        EXPECT_TRUE(library().move({ids_["moved"], ids_["moved too"]}, box("Archive")));
        EXPECT_TRUE(library().erase({ids_["bin"]}));
        const auto all = uids("INBOX");
        const ImapUidSet gone{all.find("gone")->second}, cleared{all.find("cleared")->second};
        ASSERT_TRUE(other().store(cleared, ImapChange::Add, {"\\Flagged"}));
        ASSERT_TRUE(other().store(gone, ImapChange::Add, {"\\Deleted"}));
        ASSERT_TRUE(other().expunge(gone));
        deliver("new");
        settle();
        syncAll();
        EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
        const Lines inbox{"cleared F", "kept", "new", "read S", "read too S"}, archive{"moved", "moved too"};
        EXPECT_EQ(there("INBOX"), inbox);
        EXPECT_EQ(there("Archive"), archive);
        mendIndex();
        expectBoth("INBOX", inbox);
        expectBoth("Archive", archive);
    }

    std::map<std::string, std::int64_t> ids_;
};

TEST_F(SyncWithoutIndexTest, WhatIsWishedAndWhatComesIsDoneThoughSingleRowsFail) {
    breakIndex("ABORT");
    changeAll();
}

TEST_F(SyncWithoutIndexTest, WhatIsWishedAndWhatComesIsDoneThoughTheIndexTakesNothing) {
    breakIndex("ROLLBACK");
    changeAll();
}

}  // namespace qs
