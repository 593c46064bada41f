#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Imap/ImapMailboxName.h"
#include "Imap/ImapUidSet.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using Range = ImapUidSet::Range;

TEST(ImapMailboxName, SpeaksModifiedUtf7BothWays) {
    struct Case {
        const char *why, *text, *wire;
    };
    for (const Case& c : {Case{"letters stay", "Archive/2026", "Archive/2026"},
                          Case{"the shift character itself", "Tom & Jerry", "Tom &- Jerry"},
                          Case{"an umlaut", "Entwürfe", "Entw&APw-rfe"},
                          Case{"of RFC 3501", "~peter/mail/台北/日本語", "~peter/mail/&U,BTFw-/&ZeVnLIqe-"},
                          Case{"one run for neighbours", "Gelöschte Éléments", "Gel&APY-schte &AMk-l&AOk-ments"},
                          Case{"a slash in base64 is a comma", "\xE2\x80\xBF", "&ID8-"},
                          Case{"beyond the first plane", "📬", "&2D3c7A-"},
                          Case{"mixed with the shift character", "ä&ö", "&AOQ-&-&APY-"},
                          Case{"a control character", "a\tb", "a&AAk-b"}, Case{"empty", "", ""}}) {
        EXPECT_EQ(ImapMailboxName::fromText(c.text).wire(), c.wire) << c.why;
        EXPECT_EQ(ImapMailboxName::fromWire(c.wire).text(), c.text) << c.why;
    }
}

TEST(ImapMailboxName, ShowsWhatIsNoModifiedUtf7AndKeepsItForTheServer) {
    struct Case {
        const char *why, *wire, *text;
    };
    for (const Case& c :
         {Case{"no end", "Tom & Jerry", "Tom & Jerry"}, Case{"no base64", "a&!!!-b", "a&!!!-b"},
          Case{"plain UTF-8", "Entwürfe", "Entwürfe"}, Case{"Latin-1", "Entw\xFCrfe", "Entw\xEF\xBF\xBDrfe"},
          Case{"half a pair", "&2D0-", "&2D0-"}, Case{"low half first", "&3Kw-", "&3Kw-"},
          Case{"half a character", "&AA-", "&AA-"}, Case{"bits left over", "&APx-", "&APx-"}}) {
        const ImapMailboxName name = ImapMailboxName::fromWire(c.wire);
        EXPECT_EQ(name.text(), c.text) << c.why;
        EXPECT_EQ(name.wire(), c.wire) << c.why;
    }
}

TEST(ImapUidSet, KeepsRangesAscendingAndApart) {
    struct Case {
        const char *why, *given, *kept;
    };
    for (const Case& c : {Case{"neighbours join", "3,2,1", "1:3"}, Case{"either way round", "9:7", "7:9"},
                          Case{"into the middle", "1:3,7:9,5", "1:3,5,7:9"}, Case{"over several", "1,3,5,7,2:6", "1:7"},
                          Case{"an open end", "5:*,2,7", "2,5:*"}, Case{"a gap is filled", "1:3,5:7,4", "1:7"},
                          Case{"the last there can be", "*,1", "1,*"}, Case{"the same again", "4,4,4:4", "4"}})
        EXPECT_EQ(ImapUidSet::parse(c.given).value_or(ImapUidSet()).text(), c.kept) << c.why;
    for (const char* broken : {"", "0", "1:", ":1", "1,,2", "a", "1:2:3", "4294967296", "-1", " 1"})
        EXPECT_FALSE(ImapUidSet::parse(broken)) << broken;
}

TEST(ImapUidSet, TakesAwayAndCounts) {
    struct Case {
        const char *from, *taken, *left;
        std::uint64_t count;
    };
    for (const Case& c : {Case{"1:10", "3:4,9", "1:2,5:8,10", 7}, Case{"1:3,7:9", "2:8", "1,9", 2},
                          Case{"1:3", "1:*", "", 0}, Case{"5:*", "*", "5:4294967294", 4294967290},
                          Case{"4,6", "5", "4,6", 2}, Case{"1:100", "1:10,20:30,90:*", "11:19,31:89", 68}}) {
        ImapUidSet set = ImapUidSet::parse(c.from).value_or(ImapUidSet());
        set.remove(ImapUidSet::parse(c.taken).value_or(ImapUidSet()));
        EXPECT_EQ(set.text(), c.left) << c.from << " without " << c.taken;
        EXPECT_EQ(set.count(), c.count) << c.from << " without " << c.taken;
        ImapUidSet oneByOne = ImapUidSet::parse(c.from).value_or(ImapUidSet());
        const ImapUidSet taken = ImapUidSet::parse(c.taken).value_or(ImapUidSet());
        for (const Range& range : taken.ranges())
            oneByOne.remove(range);
        EXPECT_EQ(oneByOne, set) << c.from << " without " << c.taken;
    }
    const ImapUidSet set{2, 3, 9};
    EXPECT_TRUE(set.contains(3));
    EXPECT_FALSE(set.contains(4));
    EXPECT_TRUE(ImapUidSet::from(7).contains(4294967295));
    EXPECT_THAT(set.uids(), ElementsAre(2u, 3u, 9u));
}

TEST(ImapUidSet, IsSaidInSeveralPiecesWhenItIsLong) {
    const ImapUidSet set{1, 3, 5, 70, 71, 72, 900};
    EXPECT_THAT(set.texts(9), ElementsAre("1,3,5", "70:72,900"));
    EXPECT_THAT(set.texts(1000), ElementsAre(set.text()));
    EXPECT_TRUE(ImapUidSet().texts(10).empty());
}

}  // namespace
}  // namespace qs
