// Dates as the message list writes them, in the user's locale and time zone.
#pragma once

#include <string>

#include "Foundation/Date.h"

namespace qs {

std::string todayText(Date date);                   // "14:05"
std::string dateWithTimeText(Date date, Date now);  // "3 Mar, 14:05", with the year when it is another
// Until when something waits: "14:05:30" for the next minutes, "14:05" for today, else as dateWithTimeText.
std::string untilText(Date date, Date now);
std::string longDateText(Date date);  // "Tuesday, 3 March 2026 at 14:05"
// "14:05" for today, "Yesterday", "3 Mar" for this year, "3 Mar 2025" for all others. Empty for a date that is none.
std::string listDateText(Date date, Date now);
TimeInterval secondsUntilTomorrow(Date now);  // above 0

}  // namespace qs
