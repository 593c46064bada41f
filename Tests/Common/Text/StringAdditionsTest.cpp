#include "Text/StringAdditions.h"

#include <gtest/gtest.h>

#include "Text/Utf8.h"

namespace qs {
namespace {

constexpr std::size_t kHuge = 2'000'000;  // bytes: with quadratic time a test does not end

TEST(StringAdditions, BlanksAreNormalised) {
    const struct {
        const char *text, *normal;
    } cases[] = {
        {"", ""},
        {" \t\r\n ", ""},
        {"one", "one"},
        {"  one   two\tthree\r\nfour ", "one two three four"},
        {"no\u00A0break\u2003wide\u3000ideographic\u2028line", "no break wide ideographic line"},
        {"zero\u200Bwidth", "zero\u200Bwidth"},
        {"broken \xFF\xFE  bytes", "broken \xFF\xFE bytes"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(stringByRemovingWhitespace(c.text), c.normal) << c.text;
}

TEST(StringAdditions, TitlesAreMadeOfNames) {
    const struct {
        const char *text, *title;
    } cases[] = {
        {"firstName", "First Name"},
        {"first", "First"},
        {"FirstName", "First Name"},
        {"eMailAddress", "E Mail Address"},
        {"homeURL", "Home U R L"},
        {"straßenName", "Straßen Name"},
        {"  two words ", "Two Words"},
        {"ärztinÖffnet", "Ärztin Öffnet"},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(titleCaseString(c.text), c.title) << c.text;
}

TEST(StringAdditions, AsciiKeepsWhatItCanSpell) {
    const struct {
        const char *text, *ascii;
    } cases[] = {
        {"plain (text)", "plain (text)"},
        {"Übergrößenträger", "Ubergrossentrager"},
        {"cafe\u0301", "cafe"},
        {"“quoted” – Æsir…", "\"quoted\" - AEsir..."},
        {"日本 Ω", "?? ?"},
        {"😀", "?"},
        {"a\xFF"
         "b",
         "a?b"},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(asciiString(c.text), c.ascii) << c.text;
}

TEST(StringAdditions, AsciiOfALongRunIsWhole) {
    std::string text, accents = "e";
    for (std::size_t i = 0; i < kHuge / 2; ++i) {
        text += "ß";
        accents += "\u0301";
    }
    EXPECT_EQ(asciiString(text), std::string(kHuge, 's'));
    EXPECT_EQ(asciiString(accents), "e");
}

TEST(StringAdditions, TailsAreCutAtWords) {
    const struct {
        const char* text;
        std::size_t length;
        const char* cut;
    } cases[] = {
        {"Hello world", 5, "Hello \u2026"},
        {"Hello world", 6, "Hello world \u2026"},
        {"Hello world", 11, "Hello world \u2026"},
        {"Hello world", 12, "Hello world "},
        {"Hello world", 100, "Hello world "},
        {"Hello", 0, "Hello \u2026"},
        {"", 10, " "},
        {"", 0, " \u2026"},
        {"a  b", 100, "a  b "},
        {"😀😀 two", 4, "😀😀 \u2026"},
        {"éé two", 3, "éé two \u2026"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(stringByTruncatingTailWithLength(c.text, c.length), c.cut) << c.text << ", " << c.length;
}

TEST(StringAdditions, ReplacesEveryOccurrence) {
    EXPECT_EQ(stringByReplacingOccurrences("a--b---c", "--", "+"), "a+b+-c");
    EXPECT_EQ(stringByReplacingOccurrences("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(stringByReplacingOccurrences("aaa", "", "x"), "aaa");
    EXPECT_EQ(stringByReplacingOccurrences("", "a", "x"), "");
    EXPECT_EQ(stringByReplacingOccurrences(std::string(kHuge, 'a'), "a", "bc").size(), 2 * kHuge);
}

TEST(StringAdditions, PartsAreFound) {
    constexpr auto kAnyCase = StringCompare::CaseInsensitive;
    constexpr auto kLiteral = StringCompare::Literal;
    const struct {
        const char* text;
        std::optional<std::string_view> part;
        StringCompare options;
        bool isThere;
    } cases[] = {
        {"See the Attachment", "Attachment", kLiteral, true},
        {"See the Attachment", "attachment", kLiteral, false},
        {"See the Attachment", "attachment", kAnyCase, true},
        {"Siehe ANHÄNGE", "Anhänge", kAnyCase, true},
        {"Siehe ANHÄNGE", "anha\u0308nge", kAnyCase, true},
        {"caf\u00E9", "cafe\u0301", kLiteral, true},
        {"STRASSE", "straße", kAnyCase, true},
        {"ΣΊΣΥΦΟΣ", "σίσυφος", kAnyCase, true},
        {"anything", "", kLiteral, false},
        {"anything", std::nullopt, kAnyCase, false},
        {"", "a", kLiteral, false},
        {"broken \xC3 bytes", "bytes", kAnyCase, true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(containsString(c.text, c.part, c.options), c.isThere) << c.text << " / " << c.part.value_or("nil");
}

TEST(StringAdditions, TheFirstWordInTheOrderOfTheListCounts) {
    const std::vector<std::string> words{"enclosed", "", "attached", "att"};
    const std::string text = "The file is attached, not enclosed.";
    EXPECT_EQ(firstContainingWordFromArray(text, words), "enclosed");
    EXPECT_EQ(firstContainingWordFromArray("Attached.", words), std::nullopt);
    EXPECT_EQ(firstContainingWordFromArray("Attached.", words, StringCompare::CaseInsensitive), "attached");
    EXPECT_EQ(firstContainingWordFromArray(text, {}), std::nullopt);
    EXPECT_TRUE(containsWordsInArray("scattered", words));
    EXPECT_FALSE(containsWordsInArray("scattered", {""}));
    EXPECT_FALSE(containsWordsInArray(text, {}));
}

}  // namespace
}  // namespace qs
