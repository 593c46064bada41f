// Dates near today as people say them: "Tomorrow, 14:05", in the user's locale and the time zone in force.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

// Day and time, the time short. A day further off than one from today is written with the fields of `daySkeleton`
// (as in localizedDatePattern).
std::string relativeDateText(Date date, Date now, std::string_view daySkeleton = "yMd");
bool isSameDay(Date one, Date other);

}  // namespace qs
