#include "Foundation/Json.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace qs {
namespace {

using ::testing::HasSubstr;

TEST(Json, IsReadAsTheValuesItStandsFor) {
    struct Case {
        const char* text;
        Value value;
    };
    for (const Case& c : {Case{" {\"a\": [1, -2.5, true, null, \"\\u00e4\\n\"], \"b\": {}} \n",
                               Dictionary{{"a", Array{1, -2.5, true, Value(), "ä\n"}}, {"b", Dictionary{}}}},
                          Case{"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
                          Case{"18446744073709551615", 18446744073709551615.0}, Case{"1e3", 1000.0}, Case{"\"\"", ""},
                          Case{"null", Value()}}) {
        const auto value = parseJson(c.text);
        ASSERT_TRUE(value) << c.text << value.error().description;
        EXPECT_EQ(*value, c.value) << c.text;
    }
    EXPECT_EQ(parseJson("{\"a\": null, \"b\": [null, {\"c\": null}]}", JsonNulls::Drop).value(),
              Value(Dictionary{{"b", Array{Value(), Dictionary{}}}}));
}

TEST(Json, WhatIsNoneSaysWhere) {
    struct Case {
        std::string text;
        const char* where;
    };
    for (const Case& c : {Case{"", "line 1, column 1"}, Case{"{\"a\": 1,\n \"b\": x}", "line 2, column 7"},
                          Case{"[1, 2", "line 1, column 6"}, Case{"{} {}", "line 1, column 4"},
                          Case{"\"\xff\"", "line 1"}, Case{std::string(100'000, '['), "line 1, column 6"}}) {
        const auto value = parseJson(c.text);
        ASSERT_FALSE(value) << c.text.substr(0, 20);
        EXPECT_THAT(value.error().description, HasSubstr(c.where));
    }
}

TEST(Json, IsWrittenSoThatOthersCanReadIt) {
    EXPECT_EQ(jsonText(Dictionary{{"b", Array{1, 2.5, true, Value(), "q\"\n\xff"}},
                                  {"a", Data{std::string("\0\1\2\3", 4)}},
                                  {"d", Date{12.5}},
                                  {"n", std::nan("")}}),
              "{\"a\":\"AAECAw==\",\"b\":[1,2.5E0,true,null,\"q\\\"\\n\xef\xbf\xbd\"],\"d\":1.25E1,\"n\":null}");
    const Value deep = Dictionary{{"x", Array{Dictionary{{"y", "ä 日本 😀"}}}}};
    EXPECT_EQ(parseJson(jsonText(deep)).value(), deep);
}

}  // namespace
}  // namespace qs
