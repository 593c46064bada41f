// Mailboxes that are made, renamed and removed on both sides.
#include <cstdlib>
#include <random>

#include "Imap/SyncFixture.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class MailboxSyncTest : public SyncTest {
protected:
    void create(const std::string& name) {
        const auto made = library().createMailbox("ada", name);
        ASSERT_TRUE(made) << made.error().description;
    }
    void rename(const std::string& folder, const std::string& name) {
        const auto renamed = library().renameMailbox(box(folder), name);
        ASSERT_TRUE(renamed) << renamed.error().description;
    }
    void remove(const std::string& folder) {
        const auto removed = library().removeMailbox(box(folder));
        ASSERT_TRUE(removed) << removed.error().description;
    }
    // The person's own, by name, with "/" between levels: here and at the server.
    Lines mailboxesHere() {
        Lines names;
        for (const auto& mailbox : library().mailboxes("ada"))
            if (mailbox->kind() == MailboxKind::User) names.push_back(mailbox->displayName());
        std::sort(names.begin(), names.end());
        return names;
    }
    Lines mailboxesThere(bool onlySubscribed = false) {
        static const std::set<std::string> special{"INBOX", "Drafts", "Sent", "Archive", "Junk", "Trash"};
        Lines names;
        const auto listed = other().list();
        for (const ImapMailbox& mailbox : *listed) {
            std::string name = mailbox.name.text();
            std::replace(name.begin(), name.end(), mailbox.delimiter, '/');
            if (!special.contains(name) && mailbox.isSelectable && (mailbox.isSubscribed || !onlySubscribed))
                names.push_back(name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectMailboxes(const Lines& names) {
        EXPECT_EQ(mailboxesHere(), names) << "here";
        EXPECT_EQ(mailboxesThere(), names) << "there";
    }
    // Nothing gets through between these.
    void goOffline() { proxy_->goDown(); }
    void goOnline() {
        proxy_->letPass();
        loop_->advance(4000);
        syncAll();
    }
};

TEST_F(MailboxSyncTest, WhatIsDoneHereIsDoneThere) {
    start();
    create("Lists");
    create("Lists/Räder");
    add("Lists.R&AOQ-der", "wheel");
    settle();
    expectMailboxes({"Lists", "Lists/Räder"});
    EXPECT_EQ(mailboxesThere(true), mailboxesThere());
    const auto uidBefore = uid("Lists/Räder", "wheel");

    create("Works");
    settle();
    rename("Lists", "Works/Lists");
    settle();
    expectMailboxes({"Works", "Works/Lists", "Works/Lists/Räder"});
    EXPECT_THAT(mailboxesThere(true), Contains("Works/Lists"));
    EXPECT_EQ(uid("Works/Lists/Räder", "wheel"), uidBefore) << "it was renamed, not made anew";
    EXPECT_THAT(here("Works.Lists.R&AOQ-der"), ElementsAre("wheel"));

    remove("Works");
    settle();
    expectMailboxes({});
    EXPECT_THAT(mailboxesThere(true), IsEmpty());
    restart();
    expectMailboxes({});
}

TEST_F(MailboxSyncTest, WhatWasDoneOfflineIsMadeUpFor) {
    start();
    for (const char* name : {"A", "B", "C", "C/D", "E"})
        create(name);
    for (const char* folder : {"A", "B", "C.D", "E"})
        add(folder, "in " + std::string(folder));
    settle();
    goOffline();
    // They change places, with a third name between; one goes below another, one goes, one is made again.
    rename("A", "T");
    rename("B", "A");
    rename("T", "B");
    rename("C", "A/C");
    rename("A.C.D", "D");
    remove("E");
    create("E");
    add("E", "new in E");
    restart();
    EXPECT_EQ(mailboxesHere(), (Lines{"A", "A/C", "B", "D", "E"}));
    goOnline();
    expectMailboxes({"A", "A/C", "B", "D", "E"});
    expectBoth("A", {"in B"});
    expectBoth("B", {"in A"});
    expectBoth("D", {"in C.D"});
    expectBoth("E", {"new in E"});
}

TEST_F(MailboxSyncTest, WhatWasMovedOutOfARemovedMailboxStays) {
    start();
    create("A");
    add("A", "kept");
    add("A", "gone");
    settle();
    const auto uidValidityBefore = other().status(named("A"))->uidValidity;
    EXPECT_NE(uidValidityBefore, 0u);
    goOffline();
    move("kept", "A", "Archive");
    remove("A");
    goOnline();
    expectMailboxes({});
    expectBoth("Archive", {"kept"});
}

TEST_F(MailboxSyncTest, MailThatCameIntoARemovedMailboxIsNotLost) {
    start();
    create("A");
    add("A", "old");
    settle();
    goOffline();
    remove("A");
    deliver("new", "A");
    goOnline();
    expectMailboxes({"A"});
    expectBoth("A", {"new"});
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("New mail has come into “A”")));
}

TEST_F(MailboxSyncTest, WhatTheServerRefusesIsTakenBackAndTold) {
    start();
    create("A");
    create("A/B");
    add("A", "one");
    settle();
    goOffline();
    rename("A", "Taken");
    ASSERT_TRUE(other().create(named("Taken")));
    deliver("theirs", "Taken");
    goOnline();
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("“A” can't be called “Taken”")));
    EXPECT_THAT(here("A"), ElementsAre("one"));
    expectMailboxes({"A", "A/B", "Taken"});
    expectBoth("A", {"one"});
    expectBoth("Taken", {"theirs"});
}

TEST_F(MailboxSyncTest, WhatAnotherClientDoesComesOver) {
    start();
    create("A");
    create("A/B");
    create("Gone");
    add("A.B", "one");
    add("Gone", "two");
    settle();
    ASSERT_TRUE(other().rename(named("A"), named("Öl")));
    ASSERT_TRUE(other().remove(named("Gone")));
    syncAll();
    expectMailboxes({"Öl", "Öl/B"});
    EXPECT_THAT(here("&ANY-l.B"), ElementsAre("one"));
    EXPECT_THAT(there("Öl/B"), ElementsAre("one"));
}

TEST_F(MailboxSyncTest, AMailboxThatTheServerDoesNotTakeStaysHereAndIsTold) {
    start();
    create("v1.2");  // this server keeps "." from names
    add("v1&AC4-2", "dotted");
    settle();
    syncAll();
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("“v1.2” can't be made at the server")));
    EXPECT_THAT(here("v1&AC4-2"), ElementsAre("dotted"));
    syncAll();
    EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty()) << "told once";
}

// "." parts the levels of its names.
class DottedMailboxSyncTest : public MailboxSyncTest {
protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<DovecotServer>(
            DovecotServer::Options{.settings = "namespace inbox {\n  separator = .\n}"});
    }
};

TEST_F(DottedMailboxSyncTest, TwoNamesHereThatWouldBeOneThereStayApart) {
    start();
    create("v1.2");
    create("v1-2");
    create("v1-2/below");
    add("v1&AC4-2", "dotted");
    add("v1-2", "dashed");
    settle();
    EXPECT_EQ(mailboxesHere(), (Lines{"v1-2", "v1-2/below", "v1.2"}));
    EXPECT_EQ(mailboxesThere().size(), 3u);
    rename("v1-2", "v2.0");
    settle();
    restart();
    EXPECT_THAT(here("v1&AC4-2"), ElementsAre("dotted"));
    EXPECT_THAT(here("v2&AC4-0"), ElementsAre("dashed"));
    EXPECT_EQ(mailboxesHere(), (Lines{"v1.2", "v2.0", "v2.0/below"}));
    EXPECT_THAT(mailboxesThere(), Contains("v2-0/below"));
}

// Orders, and cuts anywhere while they are carried out, beside another client that delivers.
TEST_F(MailboxSyncTest, CutsAnywhereLoseNothingAndDoubleNothing) {
    const int rounds = std::getenv("QUILLSTEAD_FULL_TESTS") ? 60 : 14;
    std::mt19937 random(20261123);
    start();
    std::multiset<std::string> wanted;
    const auto any = [&]() -> std::string {
        std::vector<std::string> folders;
        for (const auto& mailbox : library().mailboxes("ada"))
            if (mailbox->kind() == MailboxKind::User) folders.push_back(mailbox->identifier().substr(4));
        return folders.empty() ? "" : folders[random() % folders.size()];
    };
    for (int round = 0; round < rounds; ++round) {
        const std::string tag = "r" + std::to_string(round);
        create(tag);
        add(tag, tag + "a");
        wanted.insert(tag + "a");
        goOnline();
        for (int i = 0; i < 3; ++i) {
            const std::string folder = any();
            if (folder.empty()) break;
            switch (random() % 4) {
            case 0: (void)library().renameMailbox(box(folder), tag + "n" + std::to_string(i)); break;
            case 1:
                if (const std::string below = any(); below != folder)
                    (void)library().renameMailbox(box(folder), box(below).displayName() + "/" + tag + "s");
                break;
            case 2:
                if (random() % 3 != 0) break;
                for (const std::string& each : here(folder))
                    wanted.erase(wanted.find(each));
                for (const auto& below : library().mailboxesBelow(box(folder)))
                    for (const std::string& each : here(below->identifier().substr(4)))
                        wanted.erase(wanted.find(each));
                remove(folder);
                break;
            default:
                for (const MessageSummary& row : library().page(box(folder).criterion(), {}, 0, 10).rows)
                    ASSERT_TRUE(library().move({row.id}, box(any())));
            }
        }
        const unsigned bytes = 60 + static_cast<unsigned>(random() % 2500);
        random() % 2 == 0 ? proxy_->cutAfterSent(bytes) : proxy_->cutAfterReceived(bytes);
        if (random() % 2 == 0)
            restart();
        else
            settle();
        goOnline();
        const Lines names = mailboxesHere();
        EXPECT_EQ(mailboxesThere(), names) << tag;
        std::multiset<std::string> found;
        for (const auto& mailbox : library().mailboxes("ada")) {
            if (mailbox->kind() != MailboxKind::User) continue;
            const std::string there = mailbox->displayName();
            EXPECT_EQ(here(mailbox->identifier().substr(4)), this->there(there)) << tag << ", " << there;
            for (const std::string& each : here(mailbox->identifier().substr(4)))
                found.insert(each);
        }
        EXPECT_EQ(found, wanted) << tag << ", cut after " << bytes;
        if (HasFailure()) break;
    }
}

}  // namespace qs
