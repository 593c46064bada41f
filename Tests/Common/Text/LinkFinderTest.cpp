#include "Text/LinkFinder.h"

#include <gtest/gtest.h>

#include <random>

#include "Text/RegularExpression.h"

namespace qs {
namespace {

TEST(LinkFinder, FindsTheFirstAddress) {
    const struct {
        const char* text;
        std::optional<std::string> link;
    } cases[] = {
        {"See http://x.example/a?b=c#d, then reply.", "http://x.example/a?b=c#d"},
        {"HTTPS://X.example", "HTTPS://X.example"},
        {"(www.x.example)", "www.x.example"},
        {"www2.x.example and http://y.example", "www2.x.example"},
        {"x.example/path", std::nullopt},  // "example" is no ending of two to four letters
        {"at docs.x.org/path/, later", "docs.x.org/path/"},
        {"http://x.org/a_(b_(c))_d.", "http://x.org/a_(b_(c))_d"},
        {"http://x.org/a_(b_(c_(d)))", "http://x.org/a_"},  // only two levels of brackets
        {"<http://x.org/>", "http://x.org/"},
        {"“http://x.org/ä”", "http://x.org/ä"},
        {"http://x", std::nullopt},
        {"http://xy", "http://xy"},
        {"no address", std::nullopt},
        {"", std::nullopt},
        {"\xFFhttp://x.org", "http://x.org"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(containingURLString(c.text), c.link) << c.text;
}

TEST(LinkFinder, FindsWhatThePatternMatches) {
    const auto pattern = RegularExpression::enRegexWithPattern(
        R"REGEX((?i)\b((?:https?://|www\d{0,3}[.]|[a-z0-9.\-]+[.][a-z]{2,4}/)(?:[^\s()<>\\]+|\(([^\s()<>]+|(\([^\s()<>]+\)))*\))+(?:\(([^\s()<>]+|(\([^\s()<>]+\)))*\)|[^\s`!()\[\]{};:'".,<>?«»“”‘’\\])))REGEX");
    // The same, without the nested repetitions that cost an engine exponential time.
    const auto tame = RegularExpression::enRegexWithPattern(
        R"REGEX((?i)\b((?:https?://|www\d{0,3}[.]|[a-z0-9.\-]+[.][a-z]{2,4}/)(?:[^\s()<>\\]|\((?:[^\s()<>]++|\([^\s()<>]++\))*+\))+(?:\((?:[^\s()<>]++|\([^\s()<>]++\))*+\)|[^\s`!()\[\]{};:'".,<>?«»“”‘’\\])))REGEX");
    ASSERT_TRUE(pattern && tame);
    constexpr const char* kPieces[] = {"http://", "HTTPS://", "www.", "www12.", "a", "bc", ".de/", ".",     "-", "_",
                                       "(",       ")",        "((",   "))",     " ", "\\", "!",    "?",     "»", "ä",
                                       "\u0301",  "😀",        "1",    "/",      "<", ":",  "\n",   "\u00A0"};
    const auto firstOf = [](const std::vector<std::string>& groups) {
        return groups.empty() ? std::nullopt : std::optional(groups[0]);
    };
    std::mt19937 random(7);
    int found = 0, compared = 0;
    for (int round = 0; round < 30'000; ++round) {
        std::string text;
        for (auto pieces = random() % 12; pieces > 0; --pieces)
            text += kPieces[random() % std::size(kPieces)];
        const auto expected = firstOf(tame->enCapturedSubstringsOfString(text));
        ASSERT_EQ(containingURLString(text), expected) << text;
        found += expected ? 1 : 0;
        if (text.size() > 18) continue;
        ASSERT_EQ(firstOf(pattern->enCapturedSubstringsOfString(text)), expected) << text;
        ++compared;
    }
    EXPECT_GT(found, 3'000) << "too few of the texts hold an address";
    EXPECT_GT(compared, 3'000) << "too few of the texts are short enough for the pattern as it is";
}

TEST(LinkFinder, TakesTextsOfAnyLength) {
    constexpr std::size_t kHuge =
        1'000'000;  // characters: with quadratic time, to say nothing of more, this does not end
    const auto repeated = [](std::string_view piece) {
        std::string text;
        while (text.size() < kHuge)
            text += piece;
        return text;
    };
    EXPECT_EQ(containingURLString("http://x.org/" + std::string(kHuge, '.') + " "), "http://x.org/");
    EXPECT_EQ(containingURLString("http://" + std::string(kHuge, '!')), std::nullopt);
    for (const char* piece :
         {"a", "a.", "a-", "a.bc", "www.", "(", "((a", "www.(", "http://(a\\", "a\u0301", "http:// "})
        containingURLString(repeated(piece));
    EXPECT_EQ(containingURLString(repeated("a.bc")), std::nullopt);
    EXPECT_EQ(containingURLString(repeated("www.!(!(").substr(0, kHuge)), std::nullopt);
}

}  // namespace
}  // namespace qs
