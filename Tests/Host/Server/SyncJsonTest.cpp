#include "SyncJson.h"

#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "MailReading.h"

namespace qs {

TEST(SyncJson, ReadingIsShownWhenItTakesLongerThanAMoment) {
    struct Case {
        const char* why;
        ReadingProgress progress;
        const char* text;  // null: nothing is shown
    };
    for (const Case& c : {
             Case{"nothing to read", {0, 0}, nullptr},
             Case{"a few messages", {3, 400}, nullptr},
             Case{"no groups in small numbers", {999, 1001}, "Reading your mail: 999 of 1,001"},
             Case{"many", {12'300, 1'000'000}, "Reading your mail: 12,300 of 1,000,000"},
         }) {
        const auto line = readingJson(c.progress);
        ASSERT_EQ(line.is_null(), c.text == nullptr) << c.why;
        if (!c.text) continue;
        EXPECT_EQ(line.at("text").as_string(), c.text) << c.why;
        EXPECT_EQ(line.at("done").to_number<std::int64_t>(), c.progress.done) << c.why;
        EXPECT_EQ(line.at("total").to_number<std::int64_t>(), c.progress.total) << c.why;
        EXPECT_FALSE(line.at("canRetry").as_bool()) << c.why;
    }
}

}  // namespace qs
