#include "Text/RegularExpression.h"

#include <gtest/gtest.h>

#include "Support/LogCapture.h"

namespace qs {
namespace {

RegularExpression compiled(const char* pattern) { return RegularExpression::enRegexWithPattern(pattern).value(); }

using Texts = std::vector<std::string>;

TEST(RegularExpression, FindsAndMatches) {
    const struct {
        const char *pattern, *text;
        bool isFound, isWhole;
    } cases[] = {
        {"b+", "abbc", true, false}, {"b+", "bbb", true, true}, {"b", "bb", true, false},
        {"a|ab", "ab", true, false},  // the first match is the short one
        {"x", "abc", false, false},  {"", "", true, true},      {"", "a", true, false},
        {"é", "café", true, false},  {".", "😀", true, true},    {"B", "b", false, false},
        {"(?i)B", "b", true, true},  {".", "\xFF", true, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compiled(c.pattern).enFindInString(c.text), c.isFound) << c.pattern;
        EXPECT_EQ(compiled(c.pattern).enMatchesString(c.text), c.isWhole) << c.pattern;
    }
}

TEST(RegularExpression, CapturesTheGroupsOfAllMatches) {
    EXPECT_EQ(compiled("(\\w)(\\d)?").enCapturedSubstringsOfString("a1 b"), (Texts{"a1", "a", "1", "b", "b", ""}));
    EXPECT_EQ(compiled("ü").enCapturedSubstringsOfString("üxü"), (Texts{"ü", "ü"}));
    EXPECT_EQ(compiled("x").enCapturedSubstringsOfString("abc"), Texts{});
}

TEST(RegularExpression, Replaces) {
    EXPECT_EQ(compiled("(\\w+)@(\\w+)").enReplaceWithString("$2 at $1 \\$1", "a@b, c@d"), "b at a $1, d at c $1");
    EXPECT_EQ(compiled("x").enReplaceWithString("y", "abc"), "abc");
    EXPECT_EQ(compiled("b").enReplaceWithString("$7", "abc"), "abc") << "there is no such group";
}

TEST(RegularExpression, AMistakeIsLogged) {
    LogCapture log;
    EXPECT_FALSE(RegularExpression::enRegexWithPattern("a(b"));
    EXPECT_TRUE(log.contains("regularExpressionWithPattern:a(b returned error:U_REGEX_MISMATCHED_PAREN"));
}

TEST(RegularExpression, ASearchThatWouldNeverEndIsEnded) {
    LogCapture log;
    const std::string text = std::string(60, 'a') + '!';
    const RegularExpression exponential = compiled("(a|aa)+$");
    EXPECT_FALSE(exponential.enFindInString(text));
    EXPECT_FALSE(exponential.enMatchesString(text));
    EXPECT_EQ(exponential.enCapturedSubstringsOfString(text), Texts{});
    EXPECT_EQ(exponential.enReplaceWithString("x", text), text);
    EXPECT_EQ(log.messages(LogLevel::Warning).size(), 4u);
    EXPECT_TRUE(log.contains("U_REGEX_TIME_OUT"));
}

}  // namespace
}  // namespace qs
