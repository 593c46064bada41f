#include "Foundation/Format.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(Format, FillsPlaceholders) {
    struct Case {
        const char* format;
        std::initializer_list<Value> arguments;
        const char* text;
    };
    const Case cases[] = {
        {"plain", {}, "plain"},
        {"%@--%@", {"id", "key"}, "id--key"},
        {"%1$@ before %2$@", {"a", "b"}, "a before b"},
        {"%2$@ before %1$@", {"a", "b"}, "b before a"},
        {"%2$ld of %1$.1f", {2.25, 7}, "7 of 2.2"},
        {"%ld/%lu/%d/%lld", {-1, 2, 3, 4}, "-1/2/3/4"},
        {"%f %.0f %.2f %5.1f|", {0.5, 2.5, 1e3, 3.14159}, "0.500000 2 1000.00   3.1|"},
        {"%02ld:%02ld", {7, 5}, "07:05"},
        {"%03d|%-4d|%+d", {-7, 5, 9}, "-07|5   |+9"},
        {"%x %X", {255, 255}, "ff FF"},
        {"%s and %@", {"text", 3.5}, "text and 3.5"},
        {"100%% of %@", {"it"}, "100% of it"},
        {"%@ %@", {"one"}, "one (null)"},
        {"%3$@", {"one"}, "(null)"},
        {"%@", {"one", "surplus"}, "one"},
        {"%@ %ld", {Value(), Value()}, "(null) 0"},
        {"half %", {}, "half %"},
        {"odd %k, %1$k, %", {1}, "odd %k, %1$k, %"},
        {"%@", {true}, "1"},
        {"%@", {Date{1'795'384'800.9}}, "2026-11-22 22:00:00 +0000"},
        {"%@", {Date{-1}}, "1969-12-31 23:59:59 +0000"},
        {"%@", {Array{1, "b", Dictionary{{"k", 2}}}}, "(1, b, {k = 2;})"},
        {"%@ — „%@“", {"ä", "日本"}, "ä — „日本“"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(stringWithFormat(c.format, c.arguments), c.text) << c.format;
}

TEST(Format, KeepsItsMemoryWhateverWidthIsAskedFor) {
    EXPECT_LE(stringWithFormat("%999999999999d", {1}).size(), 1000u);
    EXPECT_LE(stringWithFormat("%.999999999999f", {1e308}).size(), 2000u);
    EXPECT_EQ(stringWithFormat("%99999999999999999999$@", {1}), "(null)");
}

}  // namespace
}  // namespace qs
