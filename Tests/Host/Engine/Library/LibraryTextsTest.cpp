// Texts of messages that come in great numbers, which are taken up some time behind them.
#include "Database/Database.h"
#include "Foundation/RunLoop.h"
#include "HeldFiles.h"
#include "Library/LibraryTest.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
class LibraryTextsTest : public LibraryTest {
protected:
    static constexpr int kMany = 150;

    static std::string name(int i) { return "mirrored" + std::to_string(1000 + i); }
    static std::string subject(int i) { return "Subject" + std::to_string(1000 + i); }
    static std::string content(int i) {
        return "From: Grace Hopper <grace@example.net>\r\nTo: Ada <ada@example.org>\r\nCc: Cecilia <cc" +
               std::to_string(1000 + i) + "@example.org>\r\nSubject: " + subject(i) +
               "\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nneedle" +
               std::to_string(1000 + i) +
               "\r\n--b\r\nContent-Disposition: attachment; filename=list.txt\r\n\r\nx\r\n--b--\r\n";
    }
    static Date received(int i) { return {1'600'000'000.0 + i}; }

    void openHeld() { open(files_); }
    void addMany(std::string_view mailbox = "ada/INBOX") {
        std::vector<std::string> contents;
        std::vector<MirroredArrival> arrivals;
        for (int i = 0; i < kMany; ++i)
            contents.push_back(content(i));
        for (int i = 0; i < kMany; ++i)
            arrivals.push_back({name(i), contents[static_cast<std::size_t>(i)], {}, received(i)});
        ASSERT_TRUE(library_->addMirrored(box(mailbox), arrivals, false));
    }
    void listMany() {
        std::vector<std::string> headers;
        std::vector<MirroredListing> listings;
        for (int i = 0; i < kMany; ++i) {
            const std::string whole = content(i);
            headers.push_back(whole.substr(0, whole.find("\r\n\r\n") + 2));
        }
        for (int i = 0; i < kMany; ++i)
            listings.push_back({name(i), headers[static_cast<std::size_t>(i)], {}, received(i)});
        ASSERT_TRUE(library_->listMirrored(box("ada/INBOX"), listings));
    }
    void takeTexts() {
        files_.letAllPass();
        reading().waitForTexts();
    }
    std::int64_t id(int i) {
        const auto rows = library_->page({}, {}, 0, 10 * kMany).rows;
        const auto found = std::ranges::find(rows, subject(i), &MessageSummary::subject);
        if (found == rows.end()) throw std::runtime_error("there is no " + subject(i));
        return found->id;
    }
    std::vector<std::string> containing(std::string_view part) {
        return subjects(MessageCriterion::with(MessageCriterion::Kind::SubjectContains, std::string(part)));
    }
    // By everything that it can be found by, exactly once.
    void expectFound(int i) {
        const std::string number = std::to_string(1000 + i);
        EXPECT_THAT(searching("needle" + number), ElementsAre(subject(i)));
        EXPECT_THAT(searching("subject:" + subject(i)), ElementsAre(subject(i)));
        EXPECT_THAT(searching("to:cc" + number), ElementsAre(subject(i)));
        EXPECT_THAT(containing("ject" + number), ElementsAre(subject(i)));
    }
    void expectForgotten(int i) {
        const std::string number = std::to_string(1000 + i);
        EXPECT_THAT(searching("needle" + number), IsEmpty());
        EXPECT_THAT(searching(subject(i)), IsEmpty());
        EXPECT_THAT(containing("ject" + number), IsEmpty());
    }

    HeldFiles files_;
};

TEST_F(LibraryTextsTest, AreFoundSomeTimeBehindTheirRows) {
    openHeld();
    addMany();
    EXPECT_EQ(library_->page(box("ada/INBOX").criterion(), {}, 0, 10).total, kMany);
    EXPECT_EQ(library_->summary(id(7))->snippet, "");
    EXPECT_THAT(searching("needle1007"), IsEmpty());
    const auto shown = library_->messageWithID(id(7));
    takeTexts();
    for (const int i : {0, 7, kMany - 1})
        expectFound(i);
    EXPECT_EQ(library_->summary(id(7))->snippet, "needle1007");
    EXPECT_EQ(shown->snippet(), "needle1007");
    EXPECT_EQ(library_->summary(id(7))->attachments, 1);
    EXPECT_EQ(library_->page({}, "has:attachment", 0, 10).total, kMany);
    EXPECT_THAT(library_->completeAddress("cc1007", 5), ElementsAre("Cecilia <cc1007@example.org>"));
}

TEST_F(LibraryTextsTest, AreWrittenTogether) {
    openHeld();
    addMany();
    takeTexts();
    library_.reset();
    Database written(dataFolder_ / "Library.sqlite", {.access = Database::Access::ReadOnly});
    for (const std::string table : {"words", "fragments"})
        EXPECT_EQ(written.integer("SELECT count(DISTINCT segid) FROM " + table + "_idx"), 1) << table;
}

TEST_F(LibraryTextsTest, FollowWhatIsDoneMeanwhile) {
    openHeld();
    addMany();
    // The drafts are sorted by another date, so that the row gets another place.
    ASSERT_TRUE(library_->move({id(1)}, box("ada/Archive")));
    ASSERT_TRUE(library_->move({id(2)}, box("ada/Drafts")));
    ASSERT_TRUE(library_->erase({id(3)}));
    ASSERT_TRUE(library_->setFlags({id(4)}, {.seen = true}));
    ASSERT_TRUE(library_->dropMirrored(box("ada/INBOX"), {name(5)}));
    takeTexts();
    for (const int i : {0, 1, 2, 4, 6})
        expectFound(i);
    for (const int i : {3, 5})
        expectForgotten(i);
    // Found by its old texts nothing may be that comes to the place of one that went.
    const auto later = library_->add(box("ada/INBOX"), mail("Another"), {}, received(3));
    ASSERT_TRUE(later);
    expectForgotten(3);
    ASSERT_TRUE(library_->erase({id(0)}));
    expectForgotten(0);
}

TEST_F(LibraryTextsTest, AreTakenUpAtTheNextStart) {
    openHeld();
    addMany();
    files_.waitUntilHeld();
    // As a crash leaves it.
    const auto left = folder_.path() / "left";
    std::filesystem::create_directory(left);
    for (const char* part : {"Mail", "Accounts.plist", "Library.sqlite", "Library.sqlite-wal"})
        std::filesystem::copy(dataFolder_ / part, left / part, std::filesystem::copy_options::recursive);
    files_.letAllPass();
    library_.reset();
    dataFolder_ = left;
    openUnread();
    EXPECT_THAT(searching("needle1007"), IsEmpty());
    reading().readIn();
    reading().waitForTexts();
    for (const int i : {0, 7, kMany - 1})
        expectFound(i);
}

TEST_F(LibraryTextsTest, OfListedMessagesComeWithTheirFilesOrAfterThem) {
    openHeld();
    listMany();
    EXPECT_EQ(library_->page(box("ada/INBOX").criterion(), {}, 0, 10).total, kMany);
    const std::string first = content(0);
    ASSERT_TRUE(library_->addMirrored(box("ada/INBOX"), {{name(0), first, {}, received(0)}}, false));
    expectFound(0);
    addMany();
    takeTexts();
    for (const int i : {0, 7, kMany - 1})
        expectFound(i);
}

TEST_F(LibraryTextsTest, OfListedMessagesAreTakenFromTheirHeadersWhenNoFileComes) {
    openHeld();
    listMany();
    takeTexts();
    library_.reset();
    openHeld();
    reading().waitForTexts();
    EXPECT_THAT(searching(subject(7)), ElementsAre(subject(7)));
    EXPECT_THAT(searching("to:cc1007"), ElementsAre(subject(7)));
    addMany();
    reading().waitForTexts();
    for (const int i : {0, 7, kMany - 1})
        expectFound(i);
}

TEST_F(LibraryTextsTest, DoNotWaitForFilesThatAreGone) {
    openHeld();
    addMany();
    for (const auto& file : std::filesystem::directory_iterator(mailFolder("ada") / "cur"))
        if (file.path().filename().string().starts_with(name(7))) std::filesystem::remove(file);
    for (const auto& file : std::filesystem::directory_iterator(mailFolder("ada") / "new"))
        if (file.path().filename().string().starts_with(name(7))) std::filesystem::remove(file);
    takeTexts();
    EXPECT_THAT(searching("needle1007"), IsEmpty());
    EXPECT_THAT(containing("ject1007"), ElementsAre(subject(7)));
    expectFound(8);
}

}  // namespace qs
