#include "Maildir/MaildirFlags.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "MailLibrary.h"
#include "Support/TornDisk.h"

namespace qs {

namespace {

MaildirKeywords keywordsOn(TornDisk& disk, const char* folder = "/box") {
    EXPECT_TRUE(disk.makeFolder(folder));
    return MaildirKeywords::load(folder, disk);
}

}  // namespace

TEST(MaildirFlags, EveryFlagSurvivesALossOfEverythingButTheFolder) {
    TornDisk disk;
    auto keywords = keywordsOn(disk);
    const std::vector<MessageFlags> all{{},
                                        {.seen = true},
                                        {.answered = true},
                                        {.flagged = true},
                                        {.draft = true},
                                        {.deleted = true},
                                        {.forwarded = true},
                                        {.junk = true},
                                        {.flagged = true, .colour = 1},
                                        {.flagged = true, .colour = 2},
                                        {.flagged = true, .colour = 3},
                                        {.flagged = true, .colour = 4},
                                        {.flagged = true, .colour = 5},
                                        {.seen = true, .flagged = true, .junk = true, .colour = 6}};
    for (const MessageFlags& flags : all) {
        const auto letters = lettersWithFlags("", flags, keywords);
        ASSERT_TRUE(letters);
        EXPECT_EQ(flagsFromLetters(*letters, MaildirKeywords::load("/box", *disk.afterPowerCut())), flags) << *letters;
        EXPECT_EQ(unpackedFlags(packedFlags(flags)), flags);
        // From any flags to any other.
        for (const MessageFlags& other : all)
            EXPECT_EQ(flagsFromLetters(*lettersWithFlags(*letters, other, keywords), keywords), other);
    }
}

TEST(MaildirFlags, LettersOfOthersStay) {
    TornDisk disk;
    disk.put("/box/dovecot-keywords", "0 Work\n3 $Forwarded\n");
    auto keywords = keywordsOn(disk);
    EXPECT_EQ(lettersWithFlags("adz", {.seen = true}, keywords), "Sadz");
    EXPECT_EQ(lettersWithFlags("Sadz", {.junk = true}, keywords), "abdz");  // b is the first free one
    EXPECT_EQ(disk.read("/box/dovecot-keywords"), "0 Work\n1 $Junk\n3 $Forwarded\n");
    EXPECT_EQ(lettersWithFlags("abdz", {}, keywords), "adz");
}

TEST(MaildirFlags, ReadsWhatOtherProgramsWrote) {
    TornDisk disk;
    disk.put("/box/dovecot-keywords", "0 $junk\r\n1 $MailFlagBit0\n\nrubbish\n99 Far\n2\n4 $MailFlagBit2");
    const auto keywords = keywordsOn(disk);
    EXPECT_EQ(flagsFromLetters("Fabe", keywords), (MessageFlags{.flagged = true, .junk = true, .colour = 5}));
    EXPECT_EQ(flagsFromLetters("c", keywords), MessageFlags{});
}

TEST(MaildirFlags, FailsClearlyWhenAllLettersAreTaken) {
    TornDisk disk;
    std::string full;
    for (int i = 0; i < 26; ++i)
        full += std::to_string(i) + " Keyword" + std::to_string(i) + "\n";
    disk.put("/box/dovecot-keywords", full);
    auto keywords = keywordsOn(disk);
    const auto letters = lettersWithFlags("", {.junk = true}, keywords);
    ASSERT_FALSE(letters);
    EXPECT_EQ(letters.error().code, kMailLibraryFull);
    EXPECT_EQ(lettersWithFlags("", {.seen = true}, keywords), "S");
}

TEST(MaildirFlags, KeywordsKeepTheirMeaningInAnotherFolder) {
    TornDisk disk;
    disk.put("/from/dovecot-keywords", "0 Work\n1 $Junk\n");
    disk.put("/to/dovecot-keywords", "0 $Junk\n2 Home\n");
    auto from = keywordsOn(disk, "/from"), to = keywordsOn(disk, "/to");
    EXPECT_EQ(lettersForOtherFolder("Sab", from, to), "Sab");  // Work is now b, $Junk a
    EXPECT_EQ(to.nameOf('b'), "Work");
    // A letter that nobody has named stays itself, unless that would give it a meaning.
    EXPECT_EQ(lettersForOtherFolder("z", from, to), "z");
    const auto letters = lettersForOtherFolder("c", from, to);
    ASSERT_TRUE(letters);
    EXPECT_NE(*letters, "c");
    EXPECT_EQ(to.nameOf(letters->front()), "Unnamed-c");
}

TEST(MaildirFlags, ADiskThatTakesNoNameGivesNoLetter) {
    TornDisk disk;
    auto keywords = keywordsOn(disk);
    disk.failAt({.step = 1, .fault = TornDisk::Fault::NoSpace, .lasting = true});
    EXPECT_FALSE(lettersWithFlags("", {.junk = true}, keywords));
    disk.failAt({.step = 0});
    EXPECT_EQ(lettersWithFlags("", {.junk = true}, keywords), "a");
}

}  // namespace qs
