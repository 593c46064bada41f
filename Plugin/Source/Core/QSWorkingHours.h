// The working hours of the settings (QSSundayIsWorkingDay and its like, QSWorkingHoursBegin, QSWorkingHoursEnd). From
// every thread.
#pragma once

#include "Foundation/Date.h"
#include "Foundation/WorkingHours.h"

namespace qs {

// As they are now. An unset time counts as midnight.
WorkingHours workingHoursOfSettings();

// The rules are told in Foundation/WorkingHours.h.
bool isWorkingHourDate(Date date);
Date nextWorkingHourDateAtEndOfDay(Date date, bool atEndOfDay);

}  // namespace qs
