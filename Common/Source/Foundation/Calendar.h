// Reckoning with days and times of day in a time zone, through months, leap years and changes of the clocks. Gregorian
// calendar. Zones are IANA names; an empty one is defaultTimeZone(). Thread-safe.
#pragma once

#include <string>

#include "Foundation/Date.h"

namespace qs {

// What calendar and clock on the wall show.
struct CalendarTime {
    int year = 1970, month = 1, day = 1;
    int weekday = 1;  // 1 Sunday to 7 Saturday
    int hour = 0, minute = 0, second = 0;

    TimeInterval secondsOfDay() const { return hour * 3600.0 + minute * 60.0 + second; }
};

CalendarTime calendarTime(Date date, const std::string& timeZone = {});

struct CalendarDifference {
    int days = 0, hours = 0, minutes = 0, seconds = 0;
};

// First the days, which keep the time of day (one that the change of the clocks leaves out becomes the next that
// exists), then hours, minutes and seconds, which count the time that really passes. Fractions of a second stay.
Date dateByAdding(const CalendarDifference& difference, Date to, const std::string& timeZone = {});

// The same day and time of day so many months on, within the same year: after December comes its January. A day that
// the month lacks becomes its last.
Date dateByRollingMonths(int months, Date date, const std::string& timeZone = {});

// That time on the date's day; one that the change of the clocks leaves out becomes the next that exists, of one that
// comes twice it is the first.
Date dateBySettingTimeOfDay(int hour, int minute, int second, Date ofDate, const std::string& timeZone = {});

}  // namespace qs
