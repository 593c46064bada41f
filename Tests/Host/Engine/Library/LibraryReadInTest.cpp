// What is to be had of a library, and what it does right, while it still reads the folders.
#include <fstream>
#include <future>

#include "Foundation/NotificationCenter.h"
#include "HeldFiles.h"
#include "Library/FreshFiles.h"
#include "LibraryTest.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class LibraryReadIn : public LibraryTest {
protected:
    // Numbered from 1, the oldest; as another program would put them there.
    // Each a second newer than the one before: by their own dates, files that are written at once are all the same age.
    void putMany(const std::string& mailbox, int count) {
        for (int i = 1; i <= count; ++i) {
            const int time = 1'600'000'000 + i;
            const std::string file =
                mailbox + "/cur/" + std::to_string(time) + ".M1P1_" + std::to_string(i) + ".box:2,S";
            folder_.write(file, mail("m" + std::to_string(i)));
            FileSystem::real().setModified(folder_ / file, {double(time)});
        }
    }
    int count(std::string_view mailbox) { return library_->page(box(mailbox).criterion(), "", 0, 0).total; }
    void until(std::string_view mailbox, int messages) {
        ASSERT_TRUE(loop_->runUntil([&] { return count(mailbox) == messages; }));
    }
    std::size_t filesIn(const std::string& mailbox) {
        std::size_t files = 0;
        for (const char* each : {"cur", "new"})
            files += FileSystem::real().list(dataFolder_ / mailbox / each)->size();
        return files;
    }
    // As after a change of its version.
    void forgetIndex() {
        library_.reset();
        for (const char* side : {"", "-wal", "-shm"})
            std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
    }
    static constexpr std::string_view kOwn = "1700000000.M1P1Q1Rab.box";
    static constexpr const char *kInbox = "Mail/ada", *kArchive = "Mail/ada/.Archive";
};

TEST_F(LibraryReadIn, ShowsWhatItKnowsAtOnceAndTheNewestOfTheRestFirst) {
    open();
    add("ada/INBOX", "known", 1'500'000'000);
    library_.reset();
    constexpr int kMany = 1500;
    putMany(kInbox, kMany);
    putMany(kArchive, 3);
    HeldFiles held;
    openUnread(held);
    EXPECT_THAT(subjectsIn("ada/INBOX"), ElementsAre("known"));
    reading().readIn();
    held.waitUntilHeld();
    EXPECT_THAT(subjectsIn("ada/INBOX"), ElementsAre("known"));
    EXPECT_FALSE(reading().isReadIn());
    EXPECT_EQ(reading().readingProgress("ada").total, kMany);
    held.letPass(200);
    until("ada/INBOX", 201);
    EXPECT_EQ(subjectsIn("ada/INBOX").front(), "m1500");
    EXPECT_EQ(library_->page(box("ada/INBOX").criterion(), "", 199, 2).rows.at(0).subject, "m1301");
    EXPECT_EQ(count("ada/Archive"), 0);
    held.waitUntilHeld();
    EXPECT_EQ(reading().readingProgress("ada").done, 200);
    EXPECT_EQ(reading().readingProgress("ada").total, kMany + 3) << "all folders have been looked at by now";
    held.letAllPass();
    loop_->runUntilIdle();
    EXPECT_TRUE(reading().isReadIn());
    EXPECT_EQ(count("ada/INBOX"), kMany + 1);
    EXPECT_EQ(count("ada/Archive"), 3);
    EXPECT_EQ(reading().readingProgress("ada").total, 0);
}

TEST_F(LibraryReadIn, StopsInTheMiddleAndGoesOnAtTheNextStart) {
    putMany(kInbox, 1500);
    {
        HeldFiles held;
        openUnread(held);
        reading().readIn();
        held.letPass(200);
        until("ada/INBOX", 200);
        held.waitUntilHeld();
        auto stopped = std::async(std::launch::async, [&] { reading().stopReading(); });
        while (reading().readNow("ben/Trash")) {  // until it has heard of it
        }
        held.letAllPass();
        stopped.get();
        EXPECT_EQ(count("ada/INBOX"), 200) << "the batch under way was given up";
        bool isTold = false;
        reading().whenReadIn([&] { isTold = true; });
        loop_->runUntilIdle();
        EXPECT_FALSE(isTold);
        EXPECT_FALSE(reading().readNow("ada/INBOX"));
        library_.reset();
    }
    open();
    EXPECT_EQ(count("ada/INBOX"), 1500);
    EXPECT_EQ(subjectsIn("ada/INBOX").front(), "m1500");
}

TEST_F(LibraryReadIn, IsMarkedForAPowerCutWhileVeryMuchIsRead) {
    constexpr int kVeryMany = 2300;
    putMany(kInbox, kVeryMany);
    HeldFiles held;
    openUnread(held);
    reading().readIn();
    held.letPass(200);
    until("ada/INBOX", 200);
    held.waitUntilHeld();
    EXPECT_TRUE(std::filesystem::exists(folder_ / "Library.sqlite.unsynced"));
    held.letAllPass();
    reading().waitForTexts();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "Library.sqlite.unsynced"));
    EXPECT_EQ(count("ada/INBOX"), kVeryMany);
    for (const char* subject : {"m1", "m1200", "m2300"})
        EXPECT_THAT(searching(subject), ElementsAre(subject));
}

TEST_F(LibraryReadIn, TellsThoseWhoWaitForTheEndInTheirOrder) {
    putMany(kArchive, 3);
    HeldFiles held;
    openUnread(held);
    reading().readIn();
    held.waitUntilHeld();
    std::vector<std::string> told;
    for (const char* who : {"first", "second"})
        reading().whenReadIn([&, who] { told.push_back(who + std::to_string(count("ada/Archive"))); });
    EXPECT_THAT(told, IsEmpty());
    held.letAllPass();
    loop_->runUntilIdle();
    reading().whenReadIn([&] { told.push_back("late"); });
    EXPECT_THAT(told, ElementsAre("first3", "second3", "late"));
}

// Somebody needs one mailbox at once, while another is read.
TEST_F(LibraryReadIn, AMailboxIsReadAtOnceForWhomeverNeedsIt) {
    putMany(kInbox, 300);
    HeldFiles held;
    openUnread(held);
    reading().readIn();
    held.waitUntilHeld();
    // A thread of its own: the first reading keeps the one permission that is there.
    ASSERT_TRUE(reading().readNow("ada/Archive"));
    EXPECT_EQ(count("ada/INBOX"), 0);
    held.letAllPass();
    loop_->runUntilIdle();
    EXPECT_EQ(count("ada/INBOX"), 300);
}

TEST_F(LibraryReadIn, WhatLayThereIsNoNewsWhoeverFindsIt) {
    std::vector<std::pair<std::int64_t, bool>> told;
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(MailLibraryMessagesWereAddedNotification), [&](const Notification& note) {
            for (const Value& id : note.userInfo["messages"].array())
                told.emplace_back(id.integerValue(), note.userInfo["duringOpen"].boolValue());
        });
    putMany(kInbox, 1);
    putMany(kArchive, 1);
    openUnread();
    library_->rescan("ada/INBOX");
    ASSERT_TRUE(library_->setMirroredFlags(box("ada/Archive"), {{"1600000001.M1P1_1.box", {.set = 4}}}));
    reading().readIn();
    loop_->runUntilIdle();
    EXPECT_EQ(told.size(), 2U);
    for (const auto& [id, duringOpen] : told)
        EXPECT_TRUE(duringOpen) << library_->summary(id)->mailbox;
}

// The same message must not be kept twice because nobody had looked yet.
TEST_F(LibraryReadIn, AMessageOfThatNameIsFoundBeforeItsFolderWasRead) {
    open();
    const auto first = library_->add(box("ada/Sent"), mail("sent"), {.seen = true}, {1'600'000'000}, "out-1");
    ASSERT_TRUE(first);
    ASSERT_TRUE(library_->setFlags({(*first)->libraryID()}, {.flagged = true}));
    forgetIndex();
    openUnread();
    const auto second = library_->add(box("ada/Sent"), mail("sent"), {.seen = true}, {1'600'000'000}, "out-1");
    ASSERT_TRUE(second);
    EXPECT_TRUE((*second)->flags().flagged);
    EXPECT_EQ(filesIn("Mail/ada/.Sent"), 1U);
    reading().readIn();
    reading().waitUntilReadIn();
    EXPECT_THAT(subjectsIn("ada/Sent"), ElementsAre("sent"));
}

TEST_F(LibraryReadIn, WhatAServerDidIsDoneToMessagesThatWereNotReadYet) {
    putMany(kInbox, 3);
    const auto name = [](int i) { return std::to_string(1'600'000'000 + i) + ".M1P1_" + std::to_string(i) + ".box"; };
    openUnread();
    ASSERT_TRUE(library_->setMirroredFlags(box("ada/INBOX"), {{name(1), {.set = 4, .clear = 1}}, {name(9), {}}}));
    ASSERT_TRUE(library_->dropMirrored(box("ada/INBOX"), {name(2), name(9)}));
    EXPECT_EQ(filesIn(kInbox), 2U);
    reading().readIn();
    reading().waitUntilReadIn();
    EXPECT_THAT(subjectsIn("ada/INBOX"), ElementsAre("m3", "m1"));
    const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 10).rows;
    EXPECT_TRUE(rows.at(1).flags.flagged);
    EXPECT_FALSE(rows.at(1).flags.seen);
    EXPECT_TRUE(rows.at(0).flags.seen);
}

TEST_F(LibraryReadIn, AMailboxIsRenamedAndRemovedInTheMiddle) {
    open();
    for (const char* each : {"Letters", "Bills"})
        ASSERT_TRUE(library_->createMailbox("ada", each));
    library_.reset();
    putMany("Mail/ada/.Letters", 1200);
    putMany("Mail/ada/.Bills", 3);
    struct Keeper final : MirrorKeeper {
        Result<void> willRemove(const std::vector<Message>& messages) override {
            for (const Message& each : messages)
                removed.push_back(each.folder + " " + each.name);
            return {};
        }
        Result<void> willChange(const std::vector<std::pair<Message, MirrorWish>>&) override { return {}; }
        Result<void> willRename(const std::string&, const std::vector<Renaming>&) override { return {}; }
        Result<void> willRemoveFolders(const std::string&, const std::vector<std::string>&) override { return {}; }
        std::map<std::string, MirrorWish> wishes(const std::string&) override { return {}; }
        void isWanted(const std::string&, const std::string&) override {}
        std::vector<std::string> removed;
    };
    const auto keeper = std::make_shared<Keeper>();
    HeldFiles held;
    openUnread(held);
    library_->setMirrorKeeper(keeper);
    reading().readIn();
    held.waitUntilHeld();
    const auto renamed = library_->renameMailbox(box("ada/Letters"), "Post");
    ASSERT_TRUE(renamed) << renamed.error().description;
    ASSERT_TRUE(library_->removeMailbox(box("ada/Bills")));
    EXPECT_THAT(keeper->removed, UnorderedElementsAre("Bills 1600000001.M1P1_1.box", "Bills 1600000002.M1P1_2.box",
                                                      "Bills 1600000003.M1P1_3.box"))
        << "the server is told of messages that nobody had read";
    held.letAllPass();
    loop_->runUntilIdle();
    EXPECT_EQ(count("ada/Post"), 1200);
    EXPECT_EQ(subjectsIn("ada/Post").front(), "m1200");
    EXPECT_EQ(library_->page({}, "", 0, 0).total, 1200);
}

TEST_F(LibraryReadIn, DamageInTheMiddleBeginsAnew) {
    open();
    for (int i = 0; i < 40; ++i)
        add("ada/INBOX", "known" + std::to_string(i));
    library_.reset();
    putMany(kArchive, 30);
    HeldFiles held;
    openUnread(held);
    reading().readIn();
    held.waitUntilHeld();
    {
        std::fstream file(folder_ / "Library.sqlite", std::ios::in | std::ios::out | std::ios::binary);
        const auto size = std::filesystem::file_size(folder_ / "Library.sqlite");
        for (std::uintmax_t page = 3 * 4096; page < size; page += 4096) {
            file.seekp(static_cast<std::streamoff>(page));
            file << std::string(200, '\x5a');
        }
    }
    (void)library_->page({}, "known", 0, 100);
    (void)library_->page({}, "", 0, 100);
    (void)library_->setFlags(library_->ids({}, "", 100), {.flagged = true});
    held.letAllPass();
    loop_->runUntilIdle();
    EXPECT_TRUE(reading().isReadIn());
    EXPECT_EQ(count("ada/INBOX"), 40);
    EXPECT_EQ(count("ada/Archive"), 30);
}

TEST(FreshFiles, AreOrderedByWhatTheirNamesTell) {
    struct Case {
        const char* why;
        const char *older, *newer;
    };
    for (const Case& c : {
             Case{"ours", "1600000001.M5P2Q1R7.box", "1600000002.M1P2Q1R7.box"},
             Case{"others'", "999999999.12_3.box", "1600000001.12_2.box"},
             Case{"copies of sent mail", "out-1600000001.M5P2Q1R7.box", "out-1600000002.M5P2Q1R7.box"},
             Case{"a mirror's numbers", "imap-0123456789ab-1600000009-9", "imap-0123456789ab-1600000009-10"},
             Case{"a mirror whose mark is a number", "imap-123456789012-1-9", "imap-123456789012-1-10"},
             Case{"no number at all", "x", "1600000001.M5P2Q1R7.box"},
         })
        EXPECT_LT(freshnessOf(c.older), freshnessOf(c.newer)) << c.why;
}

}  // namespace qs
