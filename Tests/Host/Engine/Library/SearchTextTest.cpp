#include "Library/SearchText.h"

#include <gtest/gtest.h>

#include "Library/MessageFacts.h"

namespace qs {

TEST(SearchText, PhrasesAreWordsNeverOperators) {
    struct Case {
        const char* words;
        const char* expression;
    };
    for (const Case& c :
         {Case{"ada", "\"ada\""}, Case{"ada*", "\"ada\"*"}, Case{"a\"b", "\"a\"\"b\""}, Case{"ad*", "\"ad\""},
          Case{"NOT (x)", "\"NOT (x)\""}, Case{"year a*", "\"year a\""}, Case{"会議*", "\"会 議\""}})
        EXPECT_EQ(matchPhrase(c.words), c.expression) << c.words;
}

TEST(SearchText, CharactersWithoutBlanksBetweenThemBecomeWords) {
    struct Case {
        const char* text;
        const char* apart;
    };
    for (const Case& c : {Case{"plain Grüße €5", "plain Grüsse €5"}, Case{"STRAẞE ß", "STRAssE ss"},
                          Case{"東京2026年", "東 京 2026 年"}, Case{"a東b", "a 東 b"}, Case{"한국어 a", "한 국 어 a"},
                          Case{"\xe6\x9d", "\xe6\x9d"}, Case{"", ""}})
        EXPECT_EQ(wordsApart(c.text), c.apart) << c.text;
}

TEST(SearchText, TextOfHtmlIsWhatAPersonReads) {
    struct Case {
        const char* why;
        std::string html;
        const char* text;
    };
    for (const Case& c :
         {Case{"elements part words", "<p>One</p><p>two<br>three</p>", "One two three"},
          Case{"hidden parts are left out", "<head><title>t</title></head><style>p{}</style>a<script>b</script>c",
               "a c"},
          Case{"a header is no head", "<header>Top</header>", "Top"},
          Case{"comments are left out", "a<!-- <p>b --> c", "a c"}, Case{"an open comment ends it", "a<!-- b", "a"},
          Case{"an open element ends it", "a<b c", "a"}, Case{"an open script ends it", "a<script>b", "a"},
          Case{"references", "R&amp;D &#228;&#xe4; &nbsp;x &unknown; & y", "R&D ää x &unknown; & y"},
          Case{"names of letters", "Stra&szlig;e &Uuml;ber &agrave;&amp;lt; &hellip;", "Straße Über à&lt; …"},
          Case{"padding marks", "Hi&#8203;&#8204; &#8204; &#173;there", "Hi there"}})
        EXPECT_EQ(textOfHtml(c.html, 1000), c.text) << c.why;
}

TEST(SearchText, CutsAtWholeCharacters) {
    EXPECT_EQ(singleLine("äää", 5), "ää");
    EXPECT_EQ(singleLine("a \r\n\t b\x01\x7f c", 100), "a b c");
    EXPECT_EQ(singleLine("bad\xff", 100), "bad\xef\xbf\xbd");
    EXPECT_EQ(singleLine("👩‍🚀", 100), "👩‍🚀");
    EXPECT_EQ(singleLine("ev\xe2\x80\xaeil", 100), "evil");  // no turning round of names
}

TEST(MessageFacts, ReadsDatesAsTheyAreFoundInTheWild) {
    struct Case {
        const char* text;
        double seconds;
    };
    for (const Case& c :
         {Case{"Sun, 22 Nov 2026 22:00:00 +0000", 1795384800}, Case{"22 Nov 2026 22:00 GMT", 1795384800},
          Case{"Sun, 22 Nov 2026 23:00:00 +0100 (CET)", 1795384800}, Case{"Sun, 22 Nov 26 17:00:00 EST", 1795384800}})
        EXPECT_EQ(mailDate(c.text), Date{c.seconds}) << c.text;
    for (const char* text : {"", "yesterday", "0", "Thu, 01 Jan 1970 00:00:00 +0000"})
        EXPECT_EQ(mailDate(text), std::nullopt) << text;
}

}  // namespace qs
