#include "Foundation/Calendar.h"

#include <gtest/gtest.h>

#include "Foundation/DateFormatter.h"

namespace qs {
namespace {

constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";

Date at(const char* text, const char* zone) { return parseDate(text, {kPattern, "en_US_POSIX", zone}).value(); }

TEST(Calendar, DaysKeepTheTimeOfDayAndHoursCountWhatPasses) {
    struct Case {
        const char *why, *zone, *from;
        CalendarDifference difference;
        const char* expected;
    };
    for (const Case& c : {
             Case{"the end of a year", "Europe/Berlin", "2026-12-31 10:00:00", {.days = 1}, "2027-01-01 10:00:00"},
             Case{"a leap day", "Europe/Berlin", "2028-02-28 10:00:00", {.days = 1}, "2028-02-29 10:00:00"},
             Case{"a year without one", "Europe/Berlin", "2027-02-28 10:00:00", {.days = 1}, "2027-03-01 10:00:00"},
             Case{"back over a month", "UTC", "2026-03-01 00:00:10", {.seconds = -11}, "2026-02-28 23:59:59"},
             Case{"a short day", "Europe/Berlin", "2026-03-28 10:00:00", {.days = 1}, "2026-03-29 10:00:00"},
             Case{"hours through a short night",
                  "Europe/Berlin",
                  "2026-03-29 01:00:00",
                  {.hours = 8},
                  "2026-03-29 10:00:00"},
             Case{"hours through a long night",
                  "Europe/Berlin",
                  "2026-10-25 01:00:00",
                  {.hours = 8},
                  "2026-10-25 08:00:00"},
             Case{"a time that the clocks leave out",
                  "Europe/Berlin",
                  "2026-03-28 02:30:00",
                  {.days = 1},
                  "2026-03-29 03:30:00"},
             Case{"the day first, then the hours",
                  "America/New_York",
                  "2026-03-07 03:00:00",
                  {.days = 1, .hours = -2},
                  "2026-03-08 00:00:00"},
             Case{"half an hour's change",
                  "Australia/Lord_Howe",
                  "2026-10-04 01:00:00",
                  {.hours = 2},
                  "2026-10-04 03:30:00"},
         }) {
        const Date result = dateByAdding(c.difference, at(c.from, c.zone), c.zone);
        EXPECT_EQ(formatDate(result, {kPattern, "en_US_POSIX", c.zone}), c.expected) << c.why;
    }
}

TEST(Calendar, FractionsOfASecondStay) {
    const Date now = at("2026-03-29 01:00:00", "Europe/Berlin") + 0.625;
    EXPECT_EQ(dateByAdding({.days = 1, .seconds = -3}, now, "Europe/Berlin") - now, 23 * 3600 - 3);
    EXPECT_EQ(calendarTime(now, "Europe/Berlin").second, 0);
}

TEST(Calendar, TheFieldsAreThoseOfTheZone) {
    struct Case {
        const char* zone;
        int day, weekday, hour, minute;
    };
    const Date date = at("2026-11-22 23:30:15", "UTC");
    for (const Case& c : {Case{"UTC", 22, 1, 23, 30}, Case{"Europe/Berlin", 23, 2, 0, 30},
                          Case{"Asia/Kathmandu", 23, 2, 5, 15}, Case{"Pacific/Pago_Pago", 22, 1, 12, 30}}) {
        const CalendarTime time = calendarTime(date, c.zone);
        EXPECT_EQ(time.day, c.day) << c.zone;
        EXPECT_EQ(time.weekday, c.weekday) << c.zone;
        EXPECT_EQ(time.secondsOfDay(), c.hour * 3600 + c.minute * 60 + 15) << c.zone;
    }
    setDefaultTimeZone("Asia/Kathmandu");
    EXPECT_EQ(calendarTime(date).hour, 5);
    setDefaultTimeZone({});
}

}  // namespace
}  // namespace qs
