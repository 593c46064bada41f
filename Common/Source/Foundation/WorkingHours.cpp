#include "Foundation/WorkingHours.h"

#include "Foundation/Calendar.h"

namespace qs {

namespace {

constexpr TimeInterval kBeforeEnd = 1800;

int minuteOfDay(Date date) {
    const CalendarTime time = calendarTime(date);
    return time.hour * 60 + time.minute;
}

}  // namespace

bool WorkingHours::isWorkingHourDate(Date date) const {
    if (!workingDays[static_cast<std::size_t>(calendarTime(date).weekday - 1)]) return false;
    const int minute = minuteOfDay(date);
    return minute >= minuteOfDay(begin) && minute <= minuteOfDay(end);
}

Date WorkingHours::nextWorkingHourDateAtEndOfDay(Date date, bool atEndOfDay) const {
    const int weekday = calendarTime(date).weekday;  // as an index it is tomorrow's
    int days = 1;
    while (days < 7 && !workingDays[static_cast<std::size_t>((weekday + days - 1) % 7)])
        ++days;
    const CalendarTime time = calendarTime(atEndOfDay ? end - kBeforeEnd : begin);
    return dateBySettingTimeOfDay(time.hour, time.minute, 0, dateByAdding({.days = days}, date));
}

}  // namespace qs
