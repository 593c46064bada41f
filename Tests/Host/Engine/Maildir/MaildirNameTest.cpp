#include "Maildir/MaildirName.h"

#include <gmock/gmock.h>

#include <set>

#include "Maildir/FolderName.h"

namespace qs {

TEST(MaildirName, KeepsWhatItDoesNotKnow) {
    struct Case {
        const char* why;
        const char* before;
        const char* letters;
        const char* after;
    };
    for (const Case& c : {
             Case{"the first flag adds the info part", "17.M5.box", "S", "17.M5.box:2,S"},
             Case{"no flag adds none", "17.M5.box", "", "17.M5.box"},
             Case{"an info part stays without letters", "17.M5.box:2,S", "", "17.M5.box:2,"},
             Case{"letters are sorted, each once", "17.M5.box:2,", "SFaS", "17.M5.box:2,FSa"},
             Case{"sizes in the unique part stay", "17.M5.box,S=123,W=125:2,S", "RS", "17.M5.box,S=123,W=125:2,RS"},
             Case{"what others put behind the letters stays", "17.M5.box:2,S,x=1", "F", "17.M5.box:2,F,x=1"},
             Case{"an experimental info part gives way", "17.M5.box:1,S", "F", "17.M5.box:2,F"},
         })
        EXPECT_EQ(MaildirName(c.before).withLetters(c.letters).text(), c.after) << c.why;
}

TEST(MaildirName, NewNamesDifferAndRememberTheirTime) {
    std::set<std::string> names;
    for (int i = 0; i < 1000; ++i)
        names.insert(MaildirName::newUnique({1'700'000'000.25}));
    EXPECT_EQ(names.size(), 1000U);
    for (const std::string& name : names) {
        EXPECT_TRUE(MaildirName::isUsable(name)) << name;
        ASSERT_TRUE(MaildirName::timeIn(name)) << name;
        EXPECT_NEAR(MaildirName::timeIn(name)->secondsSince1970, 1'700'000'000.25, 1e-5);
    }
}

TEST(MaildirName, TakesNoTimeFromNamesOfOthers) {
    for (const char* name : {"", "1700000000", "1700000000.V801I5.box", "1700000000.M5P7.box", "x.M1P2Q3R4.box",
                             "1700000000.M5P7Q1.box", "99999999999999999999.M5P7Q1R1.box", "-5.M5P7Q1R1.box"})
        EXPECT_FALSE(MaildirName::timeIn(name)) << name;
}

TEST(MaildirName, KnowsWhatCanBeNoName) {
    for (const std::string& name : {std::string(), std::string("a/b"), std::string("a:2,S"), std::string(".hidden"),
                                    std::string("a\nb"), std::string("a\0b", 3), std::string(300, 'a')})
        EXPECT_FALSE(MaildirName::isUsable(name)) << name;
    for (const char* name : {"5E2B1C9A-0001", "17.M5.box", "é"})
        EXPECT_TRUE(MaildirName::isUsable(name)) << name;
}

TEST(FolderName, TurnsPathsIntoFoldersAndBack) {
    struct Case {
        const char* path;
        const char* folder;
    };
    for (const Case& c : {
             Case{"Lists", "Lists"},
             Case{"Lists/kernel", "Lists.kernel"},
             Case{"R&D", "R&-D"},
             Case{"Entwürfe", "Entw&APw-rfe"},
             Case{"台北", "&U,BTFw-"},
             Case{"Post 😀", "Post &2D3eAA-"},
             Case{"v1.2", "v1&AC4-2"},
             Case{"日本/語", "&ZeVnLA-.&ip4-"},
             Case{"äöü", "&AOQA9gD8-"},
         }) {
        EXPECT_EQ(folderNameFromPath(c.path), c.folder) << c.path;
        EXPECT_EQ(pathFromFolderName(c.folder), c.path) << c.folder;
    }
}

TEST(FolderName, RefusesWhatCanBeNoFolder) {
    for (const std::string& path :
         {std::string(), std::string("/"), std::string("a//b"), std::string("a/"), std::string("/a"),
          std::string("a\nb"), std::string("a\xff"), std::string(300, 'a'), std::string(60, '\xc3')})
        EXPECT_EQ(folderNameFromPath(path), std::nullopt) << path;
}

TEST(FolderName, ShowsForeignNamesAsTheyStand) {
    struct Case {
        const char* folder;
        const char* shown;
    };
    for (const Case& c : {Case{"Q&A", "Q&A"}, Case{"x&AP-", "x&AP-"}, Case{"x&!-y", "x&!-y"},
                          Case{"x&2D0-", "x&2D0-"},  // half a surrogate pair
                          Case{"x&AAo-", "x&AAo-"},  // a line end
                          Case{"bad\xff", "bad\xef\xbf\xbd"}})
        EXPECT_EQ(pathFromFolderName(c.folder), c.shown) << c.folder;
}

}  // namespace qs
