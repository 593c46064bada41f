#include "Snooze/SnoozeDates.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/Calendar.h"

namespace qs {

namespace {

constexpr TimeInterval kHour = 3600, kDay = 24 * kHour, kWeek = 7 * kDay;
constexpr TimeInterval kBeforeTheEnd = 1800;  // of the working hours, in the evening

// The time of day of `time` on the date's day.
Date atTimeOf(Date time, Date date) {
    const CalendarTime wanted = calendarTime(time);
    return dateBySettingTimeOfDay(wanted.hour, wanted.minute, 0, date);
}

Date eveningOf(Date date, const WorkingHours& hours) { return atTimeOf(hours.end + -kBeforeTheEnd, date); }

// Without any shift.
Date plainDate(std::int64_t mode, Date now, const SnoozeSettings& settings) {
    const WorkingHours& hours = settings.workingHours;
    switch (mode) {
    case kSnoozeOneHour: return now + kHour;
    case kSnoozeThreeHours: return now + 3 * kHour;
    case kSnoozeTodayEvening: return eveningOf(now, hours);
    case kSnoozeTomorrowMorning: return atTimeOf(hours.begin, now + kDay);
    case kSnoozeTomorrowEvening: return eveningOf(now + kDay, hours);
    case kSnoozeOneWeek: return now + kWeek;
    case kSnoozeOneMonth: return dateByRollingMonths(1, now);
    case kSnoozeCustomDate: return settings.customDate.value_or(now);
    default: throw AssertionFailure("Invalid snooze mode!");
    }
}

}  // namespace

SnoozeDate snoozeDate(std::int64_t mode, Date now, const SnoozeSettings& settings) {
    if (mode == kSnoozeDefaultMode) {
        const auto chosen = std::clamp<std::int64_t>(settings.defaultMode, kSnoozeOneHour, kSnoozeCustomDate);
        const SnoozeDate found = snoozeDate(chosen, now, settings);
        return found.date < now ? snoozeDate(kSnoozeThreeHours, now, settings) : found;
    }
    const Date date = plainDate(mode, now, settings);
    const bool canShift = mode >= kSnoozeTomorrowMorning && mode <= kSnoozeOneMonth;
    if (!canShift || !settings.shiftIntoWorkingHours || settings.workingHours.isWorkingHourDate(date)) return {date};
    return {settings.workingHours.nextWorkingHourDateAtEndOfDay(date, mode == kSnoozeTomorrowEvening), true};
}

}  // namespace qs
