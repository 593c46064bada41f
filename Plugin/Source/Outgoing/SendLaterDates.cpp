#include "Outgoing/SendLaterDates.h"

#include "Foundation/Calendar.h"

namespace qs {

namespace {

constexpr int kDaysOfAWeek = 7;

// While the working day has not begun, today counts too.
int daysUntilWorkingDay(const CalendarTime& now, const WorkingHours& hours) {
    const bool isAhead = calendarTime(hours.begin).secondsOfDay() - now.secondsOfDay() > 0.0;
    int ahead = isAhead ? 0 : 1;
    while (ahead < kDaysOfAWeek &&
           !hours.workingDays[static_cast<std::size_t>((ahead + now.weekday - 1) % kDaysOfAWeek)])
        ++ahead;
    return ahead;
}

}  // namespace

Date distantSendDate(Date now, std::int64_t count, std::int64_t scale) {
    constexpr TimeInterval kUnits[] = {60, 3600, 86400};
    const bool isKnown = scale >= 0 && scale < std::int64_t{std::size(kUnits)};
    return now + static_cast<double>(count) * (isKnown ? kUnits[scale] : 0);
}

Date specialSendDate(Date now, Date time, std::int64_t day, const WorkingHours& workingHours) {
    const CalendarTime wanted = calendarTime(time), present = calendarTime(now);
    CalendarDifference difference{.hours = wanted.hour - present.hour,
                                  .minutes = wanted.minute - present.minute,
                                  .seconds = wanted.second - present.second};
    if (day == kSendLaterTomorrow) difference.days = 1;
    if (day == kSendLaterNextWorkingDay) difference.days = daysUntilWorkingDay(present, workingHours);
    return dateByAdding(difference, now);
}

}  // namespace qs
