#include "Foundation/DateFormatter.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace qs {
namespace {

class DateFormatter : public ::testing::Test {
protected:
    ~DateFormatter() override { setDefaultTimeZone(""); }
};

constexpr Date kEvening{1'795'384'800};  // 2026-11-22 22:00:00 UTC, a Sunday

TEST_F(DateFormatter, FollowsPatternLocaleAndZone) {
    setDefaultTimeZone("Europe/Berlin");
    const struct {
        DateFormat format;
        const char* text;
    } cases[] = {
        {{.pattern = "yyyy-MM-dd HH:mm:ss"}, "2026-11-22 23:00:00"},
        {{.pattern = "yyyy-MM-dd HH:mm", .timeZone = "Asia/Tokyo"}, "2026-11-23 07:00"},
        {{.pattern = "EEEE, d. MMMM", .locale = "de_DE"}, "Sonntag, 22. November"},
        {{.pattern = "EEE MMM d", .locale = "en_US_POSIX"}, "Sun Nov 22"},
        {{.pattern = "ZZZ"}, "+0100"},
        {{.pattern = "ss.SSS", .timeZone = "UTC"}, "00.000"},
        {{.pattern = "'unclosed"}, "unclosed"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(formatDate(kEvening, c.format), c.text) << c.format.pattern;
}

TEST_F(DateFormatter, ReadsOnlyWholeTextsOfTheForm) {
    const DateFormat form{.pattern = "yyyy-MM-dd HH:mm", .timeZone = "UTC"};
    EXPECT_EQ(parseDate("2026-11-22 22:00", form), kEvening);
    EXPECT_EQ(parseDate(" 2026-11-22 22:00\n", form), kEvening);
    for (const char* odd : {"", "  ", "2026-11-22", "2026-11-22 22:00 and more", "2026-13-22 22:00", "2026-02-30 22:00",
                            "2026-11-22 25:00", "tomorrow", "\xff\xfe"})
        EXPECT_FALSE(parseDate(odd, form)) << odd;
    EXPECT_FALSE(parseDate(std::string(100'000, '2'), form));
}

TEST_F(DateFormatter, AZoneInOneTextDoesNotLeakIntoTheNext) {
    const DateFormat withZone{.pattern = "yyyy-MM-dd HH:mm ZZZ", .timeZone = "UTC"};
    EXPECT_EQ(parseDate("2026-11-22 23:30 +0130", withZone), kEvening);
    EXPECT_EQ(formatDate(kEvening, withZone), "2026-11-22 22:00 +0000");
    EXPECT_EQ(parseDate("2026-11-22 22:00 +0000", withZone), kEvening);
}

TEST_F(DateFormatter, TheZoneSetLastCounts) {
    const DateFormat hour{.pattern = "HH"};
    setDefaultTimeZone("Asia/Kolkata");
    EXPECT_EQ(defaultTimeZone(), "Asia/Kolkata");
    EXPECT_EQ(formatDate(kEvening, hour), "03");
    setDefaultTimeZone("America/New_York");
    EXPECT_EQ(formatDate(kEvening, hour), "17");
    setDefaultTimeZone("");
    EXPECT_FALSE(defaultTimeZone().empty());
}

TEST_F(DateFormatter, WorksFromManyThreads) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (std::size_t t = 0; t < wrong.size(); ++t)
        threads.emplace_back([&, t] {
            const DateFormat form{.pattern = "yyyy-MM-dd HH:mm:ss ZZZ", .timeZone = t % 2 ? "Asia/Tokyo" : "UTC"};
            for (int day = 0; day < 500; ++day) {
                const Date date{1'795'384'800.0 + day * 86'400};
                wrong[t] += parseDate(formatDate(date, form), form) != date;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4));
}

}  // namespace
}  // namespace qs
