// The dates that the scheduling dialog's modes stand for. Pure: knows no dialog and no settings.
#pragma once

#include <cstdint>

#include "Foundation/Date.h"
#include "Foundation/WorkingHours.h"

namespace qs {

// The value of QSSendLaterModeKey.
enum QSSendLaterMode { kSendLaterSpecialDate = 0, kSendLaterDistance = 1, kSendLaterExactDate = 2 };
// The value of QSSendLaterSpecialDateKey.
enum QSSendLaterSpecialDay { kSendLaterToday = 0, kSendLaterTomorrow = 1, kSendLaterNextWorkingDay = 2 };

// `scale`: 0 minutes, 1 hours, 2 days of 24 hours; with any other the date is now.
Date distantSendDate(Date now, std::int64_t count, std::int64_t scale);

// The time of day of `time` on a day that is told by `day`, in the default time zone. May lie in the past. The time of
// day is reached by the hours that pass on the wall clock's face: over a change of the clocks during that very day it
// is an hour off. Without any working day the next one is in seven days.
Date specialSendDate(Date now, Date time, std::int64_t day, const WorkingHours& workingHours);

}  // namespace qs
