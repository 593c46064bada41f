// What the library does to mail, and what it finds that others did.
#include <cerrno>

#include "LibraryTest.h"
#include "Mail/MessageHeaders.h"
#include "Support/TornDisk.h"
#include "Text/Utf8.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

class LibraryChanges : public LibraryTest {
protected:
    std::vector<std::string> filesIn(const std::filesystem::path& folder) {
        std::vector<std::string> files;
        for (const char* each : {"cur", "new", "tmp"})
            if (std::filesystem::exists(folder / each))
                for (const auto& entry : std::filesystem::directory_iterator(folder / each))
                    files.push_back(std::string(each) + "/" + entry.path().filename().string());
        std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(LibraryChanges, AddingUnderTheSameNameTwiceAddsOnce) {
    open();
    const auto first = library_->add(box("ada/Sent"), mail("sent"), {.seen = true}, {100}, "delivery-1");
    ASSERT_TRUE(first);
    const auto id = (*first)->libraryID();
    ASSERT_TRUE(library_->setFlags({id}, {.flagged = true}));
    EXPECT_EQ((*library_->add(box("ada/Sent"), mail("sent"), {}, {200}, "delivery-1"))->libraryID(), id);
    open();
    const auto again = library_->add(box("ada/Sent"), mail("sent"), {}, {300}, "delivery-1");
    ASSERT_TRUE(again);
    EXPECT_EQ((*again)->libraryID(), id);
    EXPECT_EQ((*again)->flags(), (MessageFlags{.seen = true, .flagged = true}));
    EXPECT_THAT(filesIn(mailFolder("ada") / ".Sent"), ElementsAre("cur/delivery-1:2,FS"));
    // Another mailbox is another matter, and so is a name that can be none.
    EXPECT_TRUE(library_->add(box("ben/Sent"), mail("sent"), {}, {100}, "delivery-1"));
    for (const char* name : {"../x", "a:2,S", ".hidden"})
        EXPECT_EQ(library_->add(box("ada/Sent"), mail("x"), {}, {}, name).error().code, kMailLibraryInvalidName);
}

TEST_F(LibraryChanges, AddsAMessageThatIsThereButNotIndexed) {
    open();
    folder_.write("Mail/ada/.Sent/new/delivery-1", mail("sent"));
    const auto added = library_->add(box("ada/Sent"), mail("sent"), {}, {100}, "delivery-1");
    ASSERT_TRUE(added);
    EXPECT_THAT(filesIn(mailFolder("ada") / ".Sent"), ElementsAre("new/delivery-1"));
    EXPECT_THAT(subjectsIn("ada/Sent"), ElementsAre("sent"));
}

TEST_F(LibraryChanges, FlagsChangeAloneAndCountsFollow) {
    open();
    const auto one = add("ada/INBOX", "one"), two = add("ada/INBOX", "two");
    const auto held = library_->messageWithID(one);
    EXPECT_EQ(box("ada/INBOX").unreadCount(), 2);
    ASSERT_TRUE(library_->setFlags({one, two}, {.seen = true}));
    EXPECT_EQ(box("ada/INBOX").unreadCount(), 0);
    ASSERT_TRUE(library_->setFlags({one}, {.flagged = true, .junk = true, .colour = 4}));
    EXPECT_EQ(held->flags(), (MessageFlags{.seen = true, .flagged = true, .junk = true, .colour = 4}));
    EXPECT_EQ(library_->summary(two)->flags, MessageFlags{.seen = true});
    ASSERT_TRUE(library_->setFlags({one}, {.seen = false, .junk = false}));
    EXPECT_EQ(library_->messageWithID(one)->flags(), (MessageFlags{.flagged = true, .colour = 4}));
    EXPECT_EQ(box("ada/INBOX").unreadCount(), 1);
    const auto missing = library_->setFlags({12345, two}, {.answered = true});
    EXPECT_EQ(missing.error().code, kMailLibraryNotFound);
    EXPECT_TRUE(library_->summary(two)->flags.answered);
    open();
    EXPECT_EQ(library_->summary(one)->flags, (MessageFlags{.flagged = true, .colour = 4}));
}

TEST_F(LibraryChanges, MovesKeepEverythingAboutAMessage) {
    open();
    const auto id = add("ada/INBOX", "one", 1'500'000'000, {.seen = true, .junk = true, .colour = 5});
    const std::string content = *library_->content(id);
    std::int64_t inBen = 0;
    for (const char* target : {"ada/Archive", "ben/INBOX", "ada/INBOX"}) {
        const auto before = library_->page({}, "", 0, 10).rows.front();
        ASSERT_TRUE(library_->move({before.id}, box(target)));
        EXPECT_EQ(library_->messageWithID(before.id), nullptr);
        const auto rows = library_->page({}, "", 0, 10).rows;
        ASSERT_THAT(rows, SizeIs(1)) << target;
        EXPECT_EQ(rows[0].mailbox, target);
        EXPECT_EQ(rows[0].flags, before.flags) << target;
        EXPECT_EQ(rows[0].received, before.received);
        EXPECT_EQ(*library_->content(rows[0].id), content);
        EXPECT_THAT(searching("one"), ElementsAre("one"));
        if (std::string_view(target) == "ben/INBOX") inBen = rows[0].id;
    }
    // Where it is the same message in the same mailbox, it has the same number.
    EXPECT_EQ(library_->page({}, "", 0, 10).rows.front().id, id);
    EXPECT_NE(inBen, id);
    EXPECT_EQ(box("ada/INBOX").messageCount(), 1);
    EXPECT_EQ(box("ben/INBOX").messageCount(), 0);
    EXPECT_THAT(filesIn(mailFolder("ben")), IsEmpty());
}

TEST_F(LibraryChanges, UnreadMailStaysNewWhenItIsMoved) {
    open();
    const auto id = add("ada/INBOX", "one");
    ASSERT_TRUE(library_->move({id}, box("ada/Archive")));
    EXPECT_THAT(filesIn(mailFolder("ada") / ".Archive"), ElementsAre(::testing::StartsWith("new/")));
    EXPECT_EQ(box("ada/Archive").unreadCount(), 1);
}

TEST_F(LibraryChanges, AMoveThatWasCutOffAfterItsCopyIsFinishedByTheNext) {
    open();
    const auto id = add("ada/INBOX", "one");
    const auto name = library_->file(id).filename().string();
    folder_.write("Mail/ben/cur/" + name + ":2,S", mail("one"));
    folder_.write("Mail/ben/cur/other:2,", "Subject: not the same\r\n\r\n");
    library_->rescan("ben/INBOX");
    ASSERT_TRUE(library_->move({id}, box("ben/INBOX")));
    EXPECT_THAT(subjectsIn("ben/INBOX"), UnorderedElementsAre("one", "not the same"));
    EXPECT_THAT(subjectsIn("ada/INBOX"), IsEmpty());

    // The same name with other content is another message.
    const auto other = library_->add(box("ada/INBOX"), mail("two"), {}, {100}, "other");
    ASSERT_TRUE(other);
    ASSERT_TRUE(library_->move({(*other)->libraryID()}, box("ben/INBOX")));
    EXPECT_THAT(subjectsIn("ben/INBOX"), UnorderedElementsAre("one", "two", "not the same"));
}

TEST_F(LibraryChanges, WhatCannotBeMovedStaysAndTheErrorSaysSo) {
    open();
    const auto one = add("ada/INBOX", "one"), two = add("ada/INBOX", "two");
    std::filesystem::remove(library_->file(one));
    const auto moved = library_->move({one, two}, box("ada/Archive"));
    ASSERT_FALSE(moved);
    EXPECT_THAT(moved.error().description, ::testing::StartsWith("1 of 2 messages"));
    EXPECT_THAT(subjectsIn("ada/Archive"), ElementsAre("two"));
    const auto there = library_->page(box("ada/Archive").criterion(), "", 0, 1).rows.at(0).id;
    EXPECT_TRUE(library_->move({there}, box("ada/Archive"))) << "it is where it is to be";
    EXPECT_NE(library_->messageWithID(there), nullptr);
}

TEST_F(LibraryChanges, ErasedMessagesAreGoneButTheirObjectsGoOn) {
    open();
    const auto id = add("ada/INBOX", "one", 100, {}, "Message-Id: <a@x>\r\n");
    const auto held = library_->messageWithID(id);
    ASSERT_TRUE(library_->erase({id}));
    EXPECT_TRUE(library_->erase({id})) << "gone is gone";
    EXPECT_EQ(library_->messageWithID(id), nullptr);
    EXPECT_EQ(library_->content(id).error().code, kMailLibraryNotFound);
    EXPECT_TRUE(library_->file(id).empty());
    EXPECT_EQ(held->subject(), "one");
    EXPECT_EQ(held->messageID(), "a@x");
    EXPECT_EQ(held->headers(), nullptr);
    EXPECT_THAT(filesIn(mailFolder("ada")), IsEmpty());
    EXPECT_THAT(searching("one"), IsEmpty());
}

TEST_F(LibraryChanges, AClaimedMessageIsGoneFromTheLibraryAndCanStillBeRead) {
    open();
    library_->mailbox("ada", MailboxKind::Outbox, true);
    const auto id = add("ada/Outbox", "out", 100, {.seen = true}, "Message-Id: <a@x>\r\n");
    const auto held = library_->messageWithID(id);
    const auto claimed = library_->claim(id, mailFolder("ada") / ".Outbox/claimed");
    ASSERT_TRUE(claimed);
    EXPECT_EQ(FileSystem::real().read(*claimed), mail("out", "Message-Id: <a@x>\r\n"));
    EXPECT_EQ(library_->claim(id, mailFolder("ada") / ".Outbox/claimed").error().code, kMailLibraryNotFound);
    library_->rescan("ada/Outbox");
    EXPECT_THAT(subjectsIn("ada/Outbox"), IsEmpty());
    EXPECT_EQ(held->subject(), "out");
    ASSERT_NE(held->headers(), nullptr);
    EXPECT_EQ(held->headers()->firstMessageIDForKey("Message-Id"), "a@x");
    // Given back, it is the same message again.
    std::filesystem::rename(*claimed, mailFolder("ada") / ".Outbox/cur" / (claimed->filename().string() + ":2,S"));
    library_->rescan("ada/Outbox");
    EXPECT_EQ(library_->messageWithID(id), held);
}

TEST_F(LibraryChanges, OutsideChangesAreTakenUp) {
    open();
    const auto one = add("ada/INBOX", "one"), two = add("ada/INBOX", "two"), three = add("ada/INBOX", "three");
    const auto held = library_->messageWithID(one);
    const auto file = library_->file(one);
    std::filesystem::rename(file, mailFolder("ada") / "cur" / (file.filename().string() + ":2,FSq"));
    std::filesystem::remove(library_->file(two));
    folder_.write("Mail/ada/new/17.foreign", "Subject: four\n\nHi\n");
    library_->rescan("ada/INBOX");
    EXPECT_THAT(subjectsIn("ada/INBOX"), UnorderedElementsAre("one", "three", "four"));
    EXPECT_EQ(library_->summary(one)->flags, (MessageFlags{.seen = true, .flagged = true}));
    EXPECT_TRUE(held->flags().flagged);
    EXPECT_EQ(library_->messageWithID(two), nullptr);
    EXPECT_NE(library_->messageWithID(three), nullptr);
    EXPECT_EQ(box("ada/INBOX").unreadCount(), 2);
    ASSERT_TRUE(library_->setFlags({one}, {.flagged = false}));
    EXPECT_EQ(library_->file(one).filename(), file.filename().string() + ":2,Sq") << "flags of others stay";
}

TEST_F(LibraryChanges, FindsAFileThatWasRenamedAMomentAgo) {
    open();
    std::vector<std::int64_t> ids;
    for (int i = 0; i < 6; ++i) {
        ids.push_back(add("ada/INBOX", "m"));
        const auto file = library_->file(ids.back());
        std::filesystem::rename(file, mailFolder("ada") / "cur" / (file.filename().string() + ":2,R"));
    }
    EXPECT_TRUE(library_->content(ids[0]));
    EXPECT_TRUE(std::filesystem::exists(library_->file(ids[1])));
    EXPECT_TRUE(library_->setFlags({ids[2]}, {.seen = true}));
    EXPECT_EQ(library_->summary(ids[2])->flags, (MessageFlags{.seen = true, .answered = true}));
    EXPECT_TRUE(library_->move({ids[3]}, box("ada/Archive")));
    EXPECT_TRUE(library_->page(box("ada/Archive").criterion(), "", 0, 1).rows.at(0).flags.answered);
    EXPECT_TRUE(library_->erase({ids[4]}));
    EXPECT_TRUE(library_->claim(ids[5], folder_ / "claimed"));
    library_->rescan("ada/INBOX");
    EXPECT_EQ(box("ada/INBOX").messageCount(), 3);
    EXPECT_THAT(filesIn(mailFolder("ada")), SizeIs(3));
}

TEST_F(LibraryChanges, TwoFilesOfOneNameAreOneMessageOrGetTwoNames) {
    open();
    folder_.write("Mail/ada/new/same", mail("copy"));
    folder_.write("Mail/ada/cur/same:2,S", mail("copy"));
    folder_.write("Mail/ada/cur/clash:2,", mail("first"));
    folder_.write("Mail/ada/cur/clash:2,F", mail("second"));
    library_->rescan("ada/INBOX");
    EXPECT_THAT(subjectsIn("ada/INBOX"), UnorderedElementsAre("copy", "first", "second"));
    open();
    EXPECT_THAT(subjectsIn("ada/INBOX"), UnorderedElementsAre("copy", "first", "second"));
}

TEST_F(LibraryChanges, MailboxesThatOthersMakeAndRemoveComeAndGo) {
    open();
    for (const char* folder : {"cur", "new", "tmp"})
        std::filesystem::create_directories(mailFolder("ada") / ".Lists.kernel" / folder);
    folder_.write("Mail/ada/.Lists.kernel/cur/1:2,S", mail("patch"));
    accountsChanged();
    EXPECT_THAT(subjectsIn("ada/Lists.kernel"), ElementsAre("patch"));
    EXPECT_EQ(box("ada/Lists.kernel").displayName(), "Lists/kernel");
    std::filesystem::remove_all(mailFolder("ada") / ".Lists.kernel");
    library_->rescan("ada/Lists.kernel");
    EXPECT_EQ(library_->mailboxWithIdentifier("ada/Lists.kernel"), nullptr);
    EXPECT_EQ(library_->page({}, "", 0, 0).total, 0);
}

TEST_F(LibraryChanges, NewAccountsAreTakenUp) {
    open();
    ASSERT_TRUE(book_->put({.identifier = "eve", .displayName = "Eve", .identities = {{"", "eve@example.org"}}}));
    accountsChanged();
    EXPECT_THAT(library_->mailAccounts(), SizeIs(3));
    EXPECT_TRUE(library_->add(box("eve/INBOX"), mail("hello"), {}, {100}));
}

TEST_F(LibraryChanges, DamagedMessagesAreShownAndStopNothing) {
    folder_.write("Mail/ada/cur/1:2,", "");
    folder_.write("Mail/ada/cur/2:2,", std::string("\0\0\0\xff\xfe garbage \x80 without end", 28));
    folder_.write("Mail/ada/cur/3:2,",
                  "Subject: broken =?utf-8?b?////?= \xff\r\nContent-Type: multipart/mixed; boundary=\r\n\r\n--\r\n");
    folder_.write("Mail/ada/cur/4:2,", "Subject: " + std::string(100'000, 'x'));
    folder_.write("Mail/ada/cur/5:2,", mail("sound"));
    open();
    const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 10).rows;
    ASSERT_THAT(rows, SizeIs(5));
    for (const MessageSummary& row : rows) {
        EXPECT_EQ(row.damage.empty(), row.subject == "sound") << row.subject << ": " << row.damage;
        EXPECT_LE(row.subject.size(), 2000U);
        EXPECT_TRUE(isValidUtf8(row.subject));
        EXPECT_NE(library_->messageWithID(row.id)->headers(), nullptr);
        EXPECT_TRUE(library_->content(row.id));
    }
}

namespace {

// Some paths can't be read.
class FaultyDisk : public TornDisk {
public:
    std::string faulty;
    Result<std::string> read(const std::filesystem::path& file) override { return checked(file, TornDisk::read(file)); }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& folder) override {
        return checked(folder, TornDisk::list(folder));
    }

private:
    template <class T>
    Result<T> checked(const std::filesystem::path& path, Result<T> result) {
        if (faulty.empty() || path.string().find(faulty) == std::string::npos) return result;
        return failure(std::string(kFileErrorDomain), EIO, "The disk reported a fault.");
    }
};

}  // namespace

TEST_F(LibraryChanges, AMessageThatCannotBeReadIsListedAndSaid) {
    FaultyDisk disk;
    dataFolder_ = "/torn";
    disk.put("/torn/Mail/ada/cur/1:2,S", mail("sound"));
    disk.put("/torn/Mail/ada/cur/locked:2,F", mail("locked"));
    disk.faulty = "locked";
    open(disk);
    const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 10).rows;
    ASSERT_THAT(rows, SizeIs(2));
    const MessageSummary& bad = rows[0].subject == "sound" ? rows[1] : rows[0];
    EXPECT_THAT(bad.damage, ::testing::StartsWith("This message can't be read."));
    EXPECT_TRUE(bad.flags.flagged);
    EXPECT_EQ(library_->messageWithID(bad.id)->headers(), nullptr);
    EXPECT_EQ(library_->content(bad.id).error().code, EIO);
    EXPECT_THAT(library_->takeNotices(), ::testing::Contains(::testing::HasSubstr("Inbox")));
    EXPECT_THAT(library_->takeNotices(), IsEmpty());
}

TEST_F(LibraryChanges, AMailboxThatCannotBeListedKeepsItsMessages) {
    FaultyDisk disk;
    dataFolder_ = "/torn";
    open(disk);
    add("ada/Archive", "kept");
    disk.faulty = ".Archive/cur";
    library_->rescan("ada/Archive");
    EXPECT_THAT(subjectsIn("ada/Archive"), ElementsAre("kept"));
    EXPECT_THAT(library_->takeNotices(), ::testing::Contains(::testing::HasSubstr("“Archive” can't be read")));
}

}  // namespace qs
