#include "Outgoing/SendLaterDates.h"

#include <gtest/gtest.h>

#include "Foundation/DateFormatter.h"

namespace qs {
namespace {

constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";
constexpr const char* kMondayToFriday = ".MTWTF.";

Date at(std::string_view text) { return parseDate(text, {kPattern, "en_US_POSIX", ""}).value(); }
Date timeOfDay(std::string_view text) { return at("2001-01-01 " + std::string(text)); }

WorkingHours week(std::string_view letters, const char* begin) {
    WorkingHours hours{.begin = timeOfDay(begin)};
    for (std::size_t i = 0; i < 7; ++i)
        hours.workingDays[i] = letters[i] != '.';
    return hours;
}

class SendLaterDates : public ::testing::Test {
protected:
    void TearDown() override { setDefaultTimeZone({}); }
};

TEST_F(SendLaterDates, ATimeOnASpecialDay) {
    struct Case {
        const char *why, *zone, *now, *time;
        int day;
        const char *week, *begin, *expected;
    };
    // 2026-11-27 is a Friday.
    for (const Case& c : {
             Case{"later today", "UTC", "2026-11-23 08:00:00", "09:30:00", 0, ".......", "00:00:00",
                  "2026-11-23 09:30:00"},
             Case{"earlier today", "UTC", "2026-11-23 18:20:40", "09:30:00", 0, ".......", "00:00:00",
                  "2026-11-23 09:30:00"},
             Case{"a day that is none of the three is today", "UTC", "2026-11-23 08:00:00", "09:30:00", 7, ".......",
                  "00:00:00", "2026-11-23 09:30:00"},
             Case{"tomorrow in the next year", "Asia/Tokyo", "2026-12-31 23:59:59", "00:00:00", 1, ".......",
                  "00:00:00", "2027-01-01 00:00:00"},
             Case{"tomorrow is a leap day", "UTC", "2028-02-28 12:00:00", "09:00:00", 1, ".......", "00:00:00",
                  "2028-02-29 09:00:00"},

             Case{"Friday after work has begun: Monday", "Europe/Berlin", "2026-11-27 10:00:00", "09:00:00", 2,
                  kMondayToFriday, "09:00:00", "2026-11-30 09:00:00"},
             Case{"Friday before that: still Friday", "Europe/Berlin", "2026-11-27 08:59:59", "10:00:00", 2,
                  kMondayToFriday, "09:00:00", "2026-11-27 10:00:00"},
             Case{"on the second when work begins: Monday", "Europe/Berlin", "2026-11-27 09:00:00", "10:00:00", 2,
                  kMondayToFriday, "09:00:00", "2026-11-30 10:00:00"},
             Case{"before work begins, for a time that has passed: in the past", "UTC", "2026-11-27 08:30:00",
                  "08:00:00", 2, kMondayToFriday, "09:00:00", "2026-11-27 08:00:00"},
             Case{"Saturday morning: Monday", "UTC", "2026-11-28 07:00:00", "09:00:00", 2, kMondayToFriday, "09:00:00",
                  "2026-11-30 09:00:00"},
             Case{"Sunday after the hour: Monday", "UTC", "2026-11-29 22:00:00", "09:00:00", 2, kMondayToFriday,
                  "09:00:00", "2026-11-30 09:00:00"},
             Case{"Sunday is one", "UTC", "2026-11-28 22:00:00", "09:00:00", 2, "S......", "09:00:00",
                  "2026-11-29 09:00:00"},
             Case{"today's weekday is the only one, and its work has begun: in a week", "UTC", "2026-11-27 10:00:00",
                  "09:00:00", 2, ".....F.", "09:00:00", "2026-12-04 09:00:00"},
             Case{"none at all, early or late: in a week", "UTC", "2026-11-27 07:00:00", "09:00:00", 2, ".......",
                  "09:00:00", "2026-12-04 09:00:00"},
             Case{"work begins at midnight: not today", "UTC", "2026-11-27 00:00:01", "09:00:00", 2, "SMTWTFS",
                  "00:00:00", "2026-11-28 09:00:00"},

             Case{"the night when the clocks go forward", "Europe/Berlin", "2026-03-28 22:15:00", "09:00:00", 1,
                  ".......", "00:00:00", "2026-03-29 09:00:00"},
             Case{"the night when they go back", "Europe/Berlin", "2026-10-24 22:15:00", "09:00:00", 1, ".......",
                  "00:00:00", "2026-10-25 09:00:00"},
             Case{"a working day behind such a night", "America/New_York", "2026-10-30 17:00:00", "09:00:00", 2,
                  kMondayToFriday, "09:00:00", "2026-11-02 09:00:00"},
             Case{"within the day itself, forward: an hour late", "Europe/Berlin", "2026-03-29 01:00:00", "09:00:00", 0,
                  ".......", "00:00:00", "2026-03-29 10:00:00"},
             Case{"within the day itself, back: an hour early", "Europe/Berlin", "2026-10-25 01:00:00", "09:00:00", 0,
                  ".......", "00:00:00", "2026-10-25 08:00:00"},
         }) {
        setDefaultTimeZone(c.zone);
        const Date result = specialSendDate(at(c.now), timeOfDay(c.time), c.day, week(c.week, c.begin));
        EXPECT_EQ(formatDate(result, {kPattern, "en_US_POSIX", ""}), c.expected) << c.why;
    }
}

TEST_F(SendLaterDates, ADistanceFromNow) {
    setDefaultTimeZone("Europe/Berlin");
    const Date now = at("2026-03-28 12:00:00") + 0.25;
    struct Case {
        std::int64_t count, scale;
        TimeInterval ahead;
    };
    for (const Case& c : {Case{1, 0, 60}, Case{90, 0, 5400}, Case{3, 1, 10800}, Case{2, 2, 172800}, Case{0, 2, 0},
                          Case{5, 3, 0}, Case{5, -1, 0}, Case{9999, 2, 9999 * 86400.0}})
        EXPECT_EQ(distantSendDate(now, c.count, c.scale) - now, c.ahead) << c.count << " of scale " << c.scale;
}

}  // namespace
}  // namespace qs
