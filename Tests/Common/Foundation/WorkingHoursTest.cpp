#include "Foundation/WorkingHours.h"

#include <gtest/gtest.h>

#include "Foundation/Calendar.h"
#include "Foundation/DateFormatter.h"

namespace qs {
namespace {

constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";
constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata", "Pacific/Apia"};

// In the default zone.
Date at(std::string_view text) { return parseDate(text, {kPattern}).value(); }
std::string text(Date date) { return formatDate(date, {kPattern}); }

class WorkingHoursTest : public ::testing::Test {
protected:
    ~WorkingHoursTest() override { setDefaultTimeZone(""); }

    // Days as "SMTWTFS" with a dash for a day off.
    static WorkingHours hours(std::string_view days, const char* begin = "09:00:00", const char* end = "18:00:00") {
        WorkingHours made{.begin = at("2001-01-01 " + std::string(begin)), .end = at("2001-07-01 " + std::string(end))};
        for (std::size_t day = 0; day < days.size(); ++day)
            made.workingDays[day] = days[day] != '-';
        return made;
    }
};

TEST_F(WorkingHoursTest, BothEndsAreIncluded) {
    const struct {
        const char* date;  // 2026-11-23 is a Monday
        bool isWorking;
    } cases[] = {
        {"2026-11-23 08:59:59", false},
        {"2026-11-23 09:00:00", true},
        {"2026-11-23 12:00:00", true},
        {"2026-11-23 18:00:00", true},
        {"2026-11-23 18:00:59", true},
        {"2026-11-23 18:01:00", false},
        {"2026-11-27 09:00:00", true},  // Friday
        {"2026-11-28 12:00:00", false},
        {"2026-11-29 12:00:00", false},
        // The days on which clocks change in Berlin and New York are Sundays; here with summer and winter time around.
        {"2026-03-30 09:00:00", true},
        {"2026-03-27 08:59:00", false},
        {"2026-11-02 18:00:00", true},
    };
    for (const char* zone : kZones) {
        setDefaultTimeZone(zone);
        for (const auto& c : cases)
            EXPECT_EQ(hours("-MTWTF-").isWorkingHourDate(at(c.date)), c.isWorking) << c.date << " in " << zone;
    }
}

TEST_F(WorkingHoursTest, OfOneMinuteOrNone) {
    setDefaultTimeZone("Europe/Berlin");
    EXPECT_TRUE(hours("SMTWTFS", "09:00:59", "09:00:00").isWorkingHourDate(at("2026-11-23 09:00:30")));
    EXPECT_FALSE(hours("SMTWTFS", "22:00:00", "06:00:00").isWorkingHourDate(at("2026-11-23 23:00:00")));
    EXPECT_FALSE(hours("-------").isWorkingHourDate(at("2026-11-23 12:00:00")));
}

TEST_F(WorkingHoursTest, TheNextDayIsNeverTheSame) {
    const struct {
        const char *days, *from, *begin, *beforeEnd;
    } cases[] = {
        {"-MTWTF-", "2026-11-27 12:34:56", "2026-11-30 09:00:00", "2026-11-30 17:30:00"},  // Friday
        {"-MTWTF-", "2026-11-28 12:34:56", "2026-11-30 09:00:00", "2026-11-30 17:30:00"},  // Saturday
        {"-MTWTF-", "2026-11-29 00:00:00", "2026-11-30 09:00:00", "2026-11-30 17:30:00"},  // Sunday
        {"-MTWTF-", "2026-11-23 03:00:00", "2026-11-24 09:00:00", "2026-11-24 17:30:00"},  // Monday, before the hours
        {"-------", "2026-11-25 12:00:00", "2026-12-02 09:00:00", "2026-12-02 17:30:00"},
        {"---W---", "2026-11-25 12:00:00", "2026-12-02 09:00:00", "2026-12-02 17:30:00"},
        {"S------", "2026-11-28 23:59:59", "2026-11-29 09:00:00", "2026-11-29 17:30:00"},
        {"------S", "2026-11-29 12:00:00", "2026-12-05 09:00:00", "2026-12-05 17:30:00"},
        {"SMTWTFS", "2026-12-31 12:00:00", "2027-01-01 09:00:00", "2027-01-01 17:30:00"},
        {"SMTWTFS", "2026-03-28 12:00:00", "2026-03-29 09:00:00", "2026-03-29 17:30:00"},  // into summer time
        {"SMTWTFS", "2026-10-24 12:00:00", "2026-10-25 09:00:00", "2026-10-25 17:30:00"},  // and out of it
    };
    for (const char* zone : kZones) {
        setDefaultTimeZone(zone);
        for (const auto& c : cases) {
            const WorkingHours week = hours(c.days);
            EXPECT_EQ(text(week.nextWorkingHourDateAtEndOfDay(at(c.from), false)), c.begin) << c.from << " in " << zone;
            EXPECT_EQ(text(week.nextWorkingHourDateAtEndOfDay(at(c.from), true)), c.beforeEnd) << c.from << zone;
        }
    }
}

TEST_F(WorkingHoursTest, ThatMeetAChangeOfTheClocks) {
    setDefaultTimeZone("Europe/Berlin");
    const WorkingHours night = hours("SMTWTFS", "02:30:00", "03:30:00");
    EXPECT_EQ(text(night.nextWorkingHourDateAtEndOfDay(at("2026-03-28 12:00:00"), false)), "2026-03-29 03:00:00")
        << "half past two is left out";
    const Date first = night.nextWorkingHourDateAtEndOfDay(at("2026-10-24 12:00:00"), false);
    EXPECT_EQ(text(first), "2026-10-25 02:30:00");
    EXPECT_EQ(text(first + 3600), "2026-10-25 02:30:00") << "it is the first of two";
    EXPECT_EQ(
        text(hours("SMTWTFS", "00:00:00", "00:10:00").nextWorkingHourDateAtEndOfDay(at("2026-11-23 12:00:00"), true)),
        "2026-11-24 23:40:00")
        << "half an hour before ten past midnight, on that day";
}

}  // namespace
}  // namespace qs
