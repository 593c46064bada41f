// When somebody works: days of the week and one span of the day, in the default time zone (see DateFormatter.h).
#pragma once

#include <array>

#include "Foundation/Date.h"

namespace qs {

struct WorkingHours {
    std::array<bool, 7> workingDays{};  // from Sunday to Saturday
    // Only hour and minute in the default time zone count.
    Date begin, end;

    // Both ends are included; seconds don't count. A span that ends before it begins holds nothing.
    bool isWorkingHourDate(Date date) const;
    // On the next working day after the date's, never the same day; without any working day the same weekday a week
    // later. At the beginning of the working hours, or half an hour before their end.
    Date nextWorkingHourDateAtEndOfDay(Date date, bool atEndOfDay) const;
};

}  // namespace qs
