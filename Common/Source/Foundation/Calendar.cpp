#include "Foundation/Calendar.h"

#include <unicode/gregocal.h>

#include <cmath>
#include <memory>

#include "Foundation/DateFormatter.h"

namespace qs {

namespace {

icu::GregorianCalendar calendarAt(Date date, const std::string& timeZone) {
    const std::string name = timeZone.empty() ? defaultTimeZone() : timeZone;
    UErrorCode status = U_ZERO_ERROR;
    icu::GregorianCalendar calendar(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)), status);
    calendar.setTime(std::floor(date.secondsSince1970) * 1000, status);
    return calendar;
}

}  // namespace

CalendarTime calendarTime(Date date, const std::string& timeZone) {
    const icu::GregorianCalendar calendar = calendarAt(date, timeZone);
    UErrorCode status = U_ZERO_ERROR;
    const auto field = [&](UCalendarDateFields which) { return calendar.get(which, status); };
    return {field(UCAL_YEAR),        field(UCAL_MONTH) + 1, field(UCAL_DATE),  field(UCAL_DAY_OF_WEEK),
            field(UCAL_HOUR_OF_DAY), field(UCAL_MINUTE),    field(UCAL_SECOND)};
}

Date dateByAdding(const CalendarDifference& difference, Date to, const std::string& timeZone) {
    icu::GregorianCalendar calendar = calendarAt(to, timeZone);
    UErrorCode status = U_ZERO_ERROR;
    calendar.add(UCAL_DATE, difference.days, status);
    calendar.add(UCAL_HOUR_OF_DAY, difference.hours, status);
    calendar.add(UCAL_MINUTE, difference.minutes, status);
    calendar.add(UCAL_SECOND, difference.seconds, status);
    const double fraction = to.secondsSince1970 - std::floor(to.secondsSince1970);
    return {calendar.getTime(status) / 1000 + fraction};
}

Date dateByRollingMonths(int months, Date date, const std::string& timeZone) {
    icu::GregorianCalendar calendar = calendarAt(date, timeZone);
    UErrorCode status = U_ZERO_ERROR;
    calendar.roll(UCAL_MONTH, months, status);
    const double fraction = date.secondsSince1970 - std::floor(date.secondsSince1970);
    return {calendar.getTime(status) / 1000 + fraction};
}

Date dateBySettingTimeOfDay(int hour, int minute, int second, Date ofDate, const std::string& timeZone) {
    icu::GregorianCalendar calendar = calendarAt(ofDate, timeZone);
    calendar.setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
    calendar.setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    calendar.set(UCAL_HOUR_OF_DAY, hour);
    calendar.set(UCAL_MINUTE, minute);
    calendar.set(UCAL_SECOND, second);
    UErrorCode status = U_ZERO_ERROR;
    return {calendar.getTime(status) / 1000};
}

}  // namespace qs
