#include "Foundation/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace qs {
namespace {

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();

TEST(Value, ConvertsAsASettingsStoreDoes) {
    struct Case {
        Value value;
        bool truth;
        std::int64_t integer;
        double real;
        const char* text;
    };
    const Case cases[] = {
        {Value(), false, 0, 0, ""},
        {true, true, 1, 1, "1"},
        {false, false, 0, 0, "0"},
        {-3, true, -3, -3, "-3"},
        {0.5, true, 0, 0.5, "0.5"},
        {-2.9, true, -2, -2.9, "-2.9"},
        {0.1, true, 0, 0.1, "0.1"},
        {1e300, true, kGreatest, 1e300, "1e+300"},
        {-1e300, true, kLeast, -1e300, "-1e+300"},
        {0x1p63, true, kGreatest, 0x1p63, "9223372036854775808"},
        {"YES", true, 0, 0, "YES"},
        {"true", true, 0, 0, "true"},
        {"no", false, 0, 0, "no"},
        {"Tomorrow", false, 0, 0, "Tomorrow"},
        {"1", true, 1, 1, "1"},
        {"0", false, 0, 0, "0"},
        {" +42 days", true, 42, 42, " +42 days"},
        {"-7.75", true, -7, -7.75, "-7.75"},
        {"+-5", false, 0, 0, "+-5"},
        {"99999999999999999999", true, kGreatest, 1e20, "99999999999999999999"},
        {"-99999999999999999999", true, kLeast, -1e20, "-99999999999999999999"},
        {"infinity", false, 0, 0, "infinity"},
        {"", false, 0, 0, ""},
        {Date{5}, false, 0, 0, ""},
        {Data{"1"}, false, 0, 0, ""},
        {Array{1}, false, 0, 0, ""},
        {Dictionary{{"a", 1}}, false, 0, 0, ""},
    };
    for (const Case& c : cases) {
        const std::string what = "type " + std::to_string(static_cast<int>(c.value.type())) + ", text " + c.text;
        EXPECT_EQ(c.value.boolValue(), c.truth) << what;
        EXPECT_EQ(c.value.integerValue(), c.integer) << what;
        EXPECT_DOUBLE_EQ(c.value.doubleValue(), c.real) << what;
        EXPECT_EQ(c.value.stringValue(), c.text) << what;
    }
}

TEST(Value, NoNumberHasNoInteger) { EXPECT_EQ(Value(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0); }

TEST(Value, AnswersNothingForContainersThatItIsNot) {
    const Value text = "text";
    EXPECT_TRUE(text.array().empty());
    EXPECT_TRUE(text.dictionary().empty());
    EXPECT_TRUE(text.dataValue().bytes.empty());
    EXPECT_FALSE(text.dateValue());
    EXPECT_TRUE(text["key"]["deeper"].isNil());
}

TEST(Value, ComparesByTypeAndContentToTheBottom) {
    const Value a = Dictionary{{"list", Array{1, "two", Dictionary{{"d", Date{3}}}}}};
    const Value same = Dictionary{{"list", Array{1, "two", Dictionary{{"d", Date{3}}}}}};
    const Value other = Dictionary{{"list", Array{1, "two", Dictionary{{"d", Date{4}}}}}};
    EXPECT_EQ(a, same);
    EXPECT_FALSE(a == other);
    EXPECT_FALSE(Value(1) == Value(1.0));
    EXPECT_FALSE(Value(1) == Value(true));
    EXPECT_FALSE(Value(Array{}) == Value(Dictionary{}));
    EXPECT_EQ(Value(), Value(nullptr));
}

}  // namespace
}  // namespace qs
