// Messages that nobody should have to hold as a whole, on their way from a server and to it.
#include "Imap/GmailFixture.h"
#include "Imap/LargeMessageFixture.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr std::uint64_t kRoom = 64u << 20;  // that is left to others

}  // namespace

TEST_F(LargeMessageTest, ComeInPieces) {
    const std::map<std::string, std::size_t> sizes{{"one less", kPiece - 1},     {"one", kPiece},
                                                   {"one more", kPiece + 1},     {"two", 2 * kPiece},
                                                   {"two more", 2 * kPiece + 1}, {"many", 9 * kPiece + 4711}};
    for (const auto& [subject, size] : sizes)
        server_->deliver("ada", large(subject, size), "INBOX", subject == "two" ? "S" : "");
    deliver("small");
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"many", "one", "one less", "one more", "small", "two S", "two more"});
    for (const auto& [subject, size] : sizes) {
        EXPECT_TRUE(isHere("INBOX", subject, large(subject, size))) << subject;
        EXPECT_EQ(library().summary(id("INBOX", subject))->size, size);
    }
    EXPECT_EQ(largestAnswer(), kPiece);
    EXPECT_THAT(leftInTmp(), IsEmpty());
    const long asked = count("BODY.PEEK[]");
    syncAll();
    EXPECT_EQ(count("BODY.PEEK[]"), asked) << "they are known";
}

TEST_F(LargeMessageTest, NobodyWaitsForThem) {
    deliverLarge("big", 3 * kPiece);
    deliver("small", "Trash");
    bool areOthersHere = false, isListed = false;
    onceBefore("BODY.PEEK[]<0.", [&] {
        areOthersHere = here("Trash") == Lines{"small"};
        isListed = here("INBOX") == Lines{"big"};
    });
    start();
    EXPECT_TRUE(areOthersHere);
    EXPECT_TRUE(isListed) << "it is to be seen meanwhile";
    expectBoth("INBOX", {"big"});
}

// As a text that is larger than allowed, though the server said nothing of that.
TEST_F(LargeMessageTest, OneThatBreaksABatchComesAlone) {
    const std::size_t size = 5000;
    deliverLarge("odd", size);
    for (int i = 0; i < 5; ++i)
        deliver("m" + std::to_string(i));
    const std::string literal = "{" + std::to_string(size) + "}", endless = "{99999999999}";
    replaceInAnswers("BODY[] " + literal, "BODY[] " + endless);
    start();
    loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"m0", "m1", "m2", "m3", "m4", "odd"});
    EXPECT_TRUE(isHere("INBOX", "odd", large("odd", size)));
    EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty());
    // And one that makes no sense in any way keeps the others from nothing.
    deliverLarge("bad", size + 1);
    deliver("m5");
    replaceInAnswers(" {" + std::to_string(size + 1) + "}", " " + endless);
    syncAll();
    loop_->advance(4000);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_THAT(there("INBOX"), ::testing::Contains("bad"));
    EXPECT_TRUE(isHere("INBOX", "m5", mail("m5")));
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("A message in “Inbox” can't be fetched")));
}

TEST_F(LargeMessageTest, StayAtTheServerWhileTheDiskHasNoRoom) {
    deliverLarge("big", 11 * kPiece);
    deliverLarge("less", 2 * kPiece);
    deliver("small", "Trash");
    disk_.space = kRoom + 3 * kPiece;
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_THAT(engine_->sync().takeNotices(),
                ElementsAre("The disk has too little space left for a message of 1.1 MB. It stays at the server."));
    EXPECT_FALSE(library().summary(id("INBOX", "big"))->isFetched);
    EXPECT_TRUE(isHere("INBOX", "less", large("less", 2 * kPiece)));
    EXPECT_TRUE(isHere("Trash", "small", mail("small")));
    syncAll();
    EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty()) << "it was told once";
    disk_.space = kRoom + 12 * kPiece;
    syncAll();
    EXPECT_TRUE(isHere("INBOX", "big", large("big", 11 * kPiece)));
    expectBoth("INBOX", {"big", "less"});
}

TEST_F(LargeMessageTest, OneThatIsLargerThanToldLeavesRoomToOthers) {
    deliverLarge("big", 9 * kPiece);
    replaceInAnswers("RFC822.SIZE " + std::to_string(9 * kPiece), "RFC822.SIZE " + std::to_string(2 * kPiece));
    disk_.space = kRoom + 3 * kPiece;
    onceBefore("BODY.PEEK[]<" + std::to_string(5 * kPiece), [&] { disk_.space = kRoom; });
    start();
    EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("too little space left")));
    EXPECT_FALSE(library().summary(id("INBOX", "big"))->isFetched);
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageTest, EndWhereTheServerHasNoMore) {
    struct Case {
        const char* why;
        std::size_t size, told;
    };
    const Case cases[] = {{"larger than told", 4 * kPiece + 50, 3 * kPiece},
                          {"much larger", 9 * kPiece + 7, kPiece + 1},
                          {"a little larger, at the end of a piece", 3 * kPiece, 3 * kPiece - 1},
                          {"smaller than told", 3 * kPiece + 50, 5 * kPiece},
                          {"smaller, at the end of a piece", 2 * kPiece, 3 * kPiece + 1}};
    for (const Case& c : cases) {
        deliverLarge(c.why, c.size);
        replaceInAnswers("RFC822.SIZE " + std::to_string(c.size) + " ", "RFC822.SIZE " + std::to_string(c.told) + " ");
    }
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty());
    for (const Case& c : cases)
        EXPECT_TRUE(isHere("INBOX", c.why, large(c.why, c.size))) << c.why;
}

TEST_F(LargeMessageTest, EndWhereAServerHasNoAnswerAnyMore) {
    start();
    for (const std::string said : {"OK Fetched.", "NO Out of range.", "BAD Out of range."}) {
        deliverLarge(said, 2 * kPiece);
        answer("BODY.PEEK[]<" + std::to_string(2 * kPiece) + ".", said);
        syncAll();
        EXPECT_TRUE(isHere("INBOX", said, large(said, 2 * kPiece))) << said;
        EXPECT_THAT(engine_->sync().takeNotices(), IsEmpty()) << said;
    }
}

TEST_F(LargeMessageTest, AreNotPutTogetherFromWhatNobodyAskedFor) {
    constexpr std::size_t kSize = 9 * kPiece;
    const std::string second = "BODY[]<" + std::to_string(kPiece) + ">", size = "RFC822.SIZE ";
    struct Case {
        const char* why;
        std::string before, instead;
    };
    for (const Case& c : {Case{"another piece", second, "BODY[]<0>"}, Case{"the whole, it seems", second, "BODY[]"},
                          Case{"an end far off", size + std::to_string(kSize), size + std::to_string(10 * kSize)}}) {
        SCOPED_TRACE(c.why);
        const std::string small = std::string("small, ") + c.why;
        deliverLarge(c.why, kSize);
        deliver(small);
        replaceInAnswers(c.before, c.instead);
        restart();
        EXPECT_THAT(engine_->sync().takeNotices(), ElementsAre(HasSubstr("A message in “Inbox” can't be fetched")));
        EXPECT_FALSE(library().summary(id("INBOX", c.why))->isFetched);
        EXPECT_TRUE(isHere("INBOX", small, mail(small)));
        EXPECT_THAT(leftInTmp(), IsEmpty());
        replaceInAnswers(c.before, c.before);
        restart();
        EXPECT_TRUE(isHere("INBOX", c.why, large(c.why, kSize))) << "the next start tries again";
    }
}

TEST_F(LargeMessageTest, OneThatIsRemovedThereMeanwhileIsNotKeptInPart) {
    for (const int piece : {1, 2, 4}) {
        SCOPED_TRACE(piece);
        deliverLarge("big", 5 * kPiece);
        onceBefore("BODY.PEEK[]<" + std::to_string(piece * kPiece), [&] {
            const auto there = uid("INBOX", "big");
            ASSERT_TRUE(other().store(there, ImapChange::Add, {"\\Deleted"}));
            ASSERT_TRUE(other().expunge(there));
        });
        piece == 1 ? start() : syncAll();
        EXPECT_THAT(filesBelow(folder_ / "Mail/ada", "cur"), IsEmpty());
        syncAll();
        expectBoth("INBOX", {});
        EXPECT_THAT(leftInTmp(), IsEmpty());
    }
}

TEST_F(LargeMessageTest, AreFetchedInPiecesForWhoeverOpensThem) {
    deliverLarge("big", 11 * kPiece);
    disk_.space = 0;
    start();
    const auto number = id("INBOX", "big");
    ASSERT_FALSE(library().summary(number)->isFetched);
    (void)engine_->sync().takeNotices();
    EXPECT_FALSE(library().openContent(number));
    loop_->runUntilIdle();
    EXPECT_THAT(engine_->sync().takeNotices(),
                ElementsAre("The disk has too little space left for a message of 1.1 MB. It stays at the server."))
        << "whoever opens it is told";
    disk_.space = 2 * kRoom;
    loop_->advance(11);
    EXPECT_EQ(library().openContent(number).error().code, kMailLibraryNotFetched) << "sent for now";
    ASSERT_TRUE(loop_->runUntil([&] { return library().summary(number)->isFetched; }));
    EXPECT_TRUE(isHere("INBOX", "big", large("big", 11 * kPiece)));
    EXPECT_EQ(largestAnswer(), kPiece);
    syncAll();
    expectBoth("INBOX", {"big"});
    EXPECT_THAT(leftInTmp(), IsEmpty());
}

TEST_F(LargeMessageTest, AreUploadedFromTheirFilesWithTheNetworksLineEnds) {
    start();
    const std::string sent = large("mine", 25 * kPiece);
    std::string text = sent;
    std::erase(text, '\r');
    ASSERT_TRUE(library().add(box("Sent"), text, {.seen = true}, loop_->now()));
    disk_.forget();
    syncAll();
    EXPECT_LE(disk_.largest(), kPiece);
    EXPECT_GT(disk_.largest(), 0u);
    expectBoth("Sent", {"mine S"});
    EXPECT_TRUE(contentThere("Sent", "mine") == sent);
}

class LargeGmailTest : public GmailTest {
protected:
    EngineOptions options() override {
        EngineOptions options = GmailTest::options();
        options.imapPieceBytes = kPiece;
        return options;
    }
};

TEST_F(LargeGmailTest, EachIsFetchedOnceHoweverManyMailboxesShowIt) {
    server_->create("Mills");
    const std::string content = withSize(mail("big", ""), 5 * kPiece + 1);
    const auto big = server_->deliver(content, {"INBOX", "Mills"}, {});
    start();
    EXPECT_THAT(placesHere("big"), ElementsAre("ada/Archive", "ada/INBOX", "ada/Mills"));
    for (const char* folder : {"Archive", "INBOX", "Mills"})
        EXPECT_TRUE(library().content(id(folder, "big")) == content) << folder;
    EXPECT_EQ(server_->timesFetched(big), 1);
    EXPECT_THAT(filesBelow(folder_ / "Mail/ada", "tmp"), IsEmpty());
}

}  // namespace qs
