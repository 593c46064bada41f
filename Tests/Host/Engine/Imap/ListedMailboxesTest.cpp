// Mailboxes that are renamed and removed while messages in them are only listed.
#include <random>

#include "Imap/ListedFixture.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ListedMailboxesTest : public ListedTest {
protected:
    void rename(const std::string& folder, const std::string& name) {
        const auto renamed = library().renameMailbox(box(folder), name);
        ASSERT_TRUE(renamed) << renamed.error().description;
    }
    void remove(const std::string& folder) {
        const auto removed = library().removeMailbox(box(folder));
        ASSERT_TRUE(removed) << removed.error().description;
    }
    bool isHere(const std::string& folder) { return library().mailboxWithIdentifier("ada/" + folder) != nullptr; }
    bool isThere(const std::string& name) {
        const auto listed = other().list();
        return std::any_of(listed->begin(), listed->end(), [&](const auto& each) { return each.name.text() == name; });
    }
    void renameAndExpectAll(const std::function<void()>& meanwhile) {
        flag("Projects", subject(1), {.flagged = true});
        move(subject(2), "Projects", "Archive");
        rename("Projects", "Works/Bridge");
        EXPECT_EQ(here("Works.Bridge").size(), kCount - 1u);
        EXPECT_THAT(here("Works.Bridge"), Contains(subject(1) + " F"));
        flag("Works.Bridge", subject(3), {.flagged = true});
        meanwhile();
        finish();
        EXPECT_FALSE(isHere("Projects") || isThere("Projects"));
        expectBoth("Archive", {subject(2) + " S"});
        EXPECT_THAT(here("Works.Bridge"), Contains(subject(1) + " F"));
        EXPECT_THAT(here("Works.Bridge"), Contains(subject(3) + " F"));
        EXPECT_EQ(here("Works.Bridge"), there("Works/Bridge"));
        EXPECT_EQ(fetched("Works.Bridge").size(), kCount - 1u);
    }
};

TEST_F(ListedMailboxesTest, RenamedHereTheyTakeTheirListAlong) {
    startAndStopBehindHeaders("Projects");
    renameAndExpectAll([] {});
}

TEST_F(ListedMailboxesTest, RenamedHereTheyAreKnownWithoutTheIndex) {
    startAndStopBehindHeaders("Projects");
    renameAndExpectAll([this] {
        engine_.reset();
        forgetIndex();
        open();
        engine_->sync().start();
    });
}

TEST_F(ListedMailboxesTest, RenamedByAnotherClientTheyKeepWhatWasDone) {
    startAndStopBehindHeaders("Projects");
    flag("Projects", subject(1), {.flagged = true});
    move(subject(2), "Projects", "Archive");
    erase("Projects", subject(3));
    erased_ = {3};
    ASSERT_TRUE(other().rename(named("Projects"), named("Works")));
    finish();
    EXPECT_FALSE(isHere("Projects"));
    expectAllFetched({"Works", "Archive"});
    EXPECT_THAT(here("Works"), Contains(subject(1) + " F"));
    EXPECT_THAT(here("Archive"), ElementsAre(subject(2) + " S"));
}

TEST_F(ListedMailboxesTest, WhereTheyWereMovedToMayBeRenamed) {
    ASSERT_TRUE(library().createMailbox("ada", "Shelf"));
    startAndStopBehindHeaders();
    move(subject(1), "INBOX", "Shelf");
    rename("Shelf", "Board");
    EXPECT_THAT(here("Board"), ElementsAre(subject(1)));
    finish();
    expectAllFetched({"INBOX", "Board"});
    EXPECT_THAT(here("Board"), ElementsAre(subject(1)));
}

TEST_F(ListedMailboxesTest, RemovedHereTheyGoThereWithWhatWasListed) {
    startAndStopBehindHeaders("Projects");
    move(subject(2), "Projects", "Archive");
    flag("Archive", subject(2), {.flagged = true});
    remove("Projects");
    finish();
    syncAll();
    EXPECT_FALSE(isHere("Projects") || isThere("Projects"));
    expectBoth("Archive", {subject(2) + " SF"});
    EXPECT_EQ(fetched("Archive").size(), 1u);
    EXPECT_THAT(here("INBOX"), IsEmpty());
    EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty());
}

// Each comes by itself, and is listed before, where there is still a place for it.
class ListedLargeTest : public ListedMailboxesTest {
protected:
    EngineOptions options() override {
        EngineOptions options = ListedMailboxesTest::options();
        options.imapPieceBytes = 15'000;
        return options;
    }
};

TEST_F(ListedLargeTest, RemovedHereTheyGoThereWithWhatWasListed) {
    startAndStopBehindHeaders("Projects");
    move(subject(2), "Projects", "Archive");
    remove("Projects");
    finish();
    syncAll();
    EXPECT_FALSE(isHere("Projects") || isThere("Projects"));
    expectBoth("Archive", {subject(2) + " S"});
    EXPECT_EQ(fetched("Archive").size(), 1u);
}

TEST_F(ListedMailboxesTest, NothingGoesThatWasNotEvenListed) {
    startAndStopBehindHeaders("Projects");
    remove("Projects");
    deliver("new", "Projects");
    finish();
    expectBoth("Projects", {"new"});
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("New mail has come into “Projects”")));
}

TEST_F(ListedMailboxesTest, MovedIntoARemovedOneTheyAreErased) {
    ASSERT_TRUE(library().createMailbox("ada", "Shelf"));
    startAndStopBehindHeaders();
    move(subject(1), "INBOX", "Shelf");
    remove("Shelf");
    erased_ = {1};
    finish();
    expectAllFetched({"INBOX"});
    EXPECT_FALSE(isHere("Shelf") || isThere("Shelf"));
}

TEST_F(ListedMailboxesTest, GoneAtTheServerTheyLeaveNoList) {
    startAndStopBehindHeaders("Archive");
    move(subject(1), "Archive", "INBOX");
    flag("Archive", subject(2), {.flagged = true});
    ASSERT_TRUE(other().remove(named("Archive")));
    finish();
    EXPECT_THAT(here("Archive"), IsEmpty());
    EXPECT_THAT(here("INBOX"), IsEmpty());
}

// Orders and cuts, with the messages listed, partly fetched and moved about.
TEST_F(ListedMailboxesTest, CutsAnywhereLoseNothingAndDoubleNothing) {
    std::mt19937 random(23'112'026);
    deliverMany("Projects");
    ASSERT_TRUE(library().createMailbox("ada", "Shelf"));
    proxy_->cutAfterReceived(7'000);
    engine_->sync().start();
    const auto own = [&] {
        std::vector<std::string> folders;
        for (const auto& mailbox : library().mailboxes("ada"))
            if (mailbox->kind() == MailboxKind::User) folders.push_back(mailbox->identifier().substr(4));
        return folders;
    };
    for (int round = 0; round < 12; ++round) {
        settle();
        const auto folders = own();
        const std::string folder = folders[random() % folders.size()], to = folders[random() % folders.size()];
        const auto rows = library().page(box(folder).criterion(), {}, 0, 1000).rows;
        const MessageSummary row = rows.empty() ? MessageSummary() : rows[random() % rows.size()];
        switch (random() % 4) {
        case 0: rename(folder, "r" + std::to_string(round)); break;
        case 1:
            if (rows.empty()) break;
            EXPECT_TRUE(library().setFlags({row.id}, {.flagged = true}));
            break;
        case 2:
            if (rows.empty()) break;
            EXPECT_TRUE(library().erase({row.id}));
            erased_.insert(std::stoi(row.subject.substr(1)) - 100);
            break;
        default:
            for (std::size_t i = 0; i < std::min<std::size_t>(rows.size(), 3) && folder != to; ++i)
                EXPECT_TRUE(library().move({rows[i].id}, box(to)));
        }
        disturb(random);
    }
    proxy_->letPass();
    loop_->advance(4000);
    finish();
    expectAllFetched(own());
}

}  // namespace qs
